/* SPDX-License-Identifier: MIT */
/* Monitor: its word, its lock and the ring of its waiters, with the names of Bases/Impl/Monitor.cpp.
 * Each load, exchange, lock, unlock, sleep and wake is a step of its own. Definitions choose
 *   KIND       SEMAPHORE, MANUAL or AUTO
 *   WAITERS    threads that wait, once each: a try, with a limit or without one
 *   ACTORS     threads that Set or Reset an event, or Post, OPERATIONS times each
 *   CANCELS    how many waiters may be cancelled; WAKES, wake-ups without a cause, and
 *              FAILURES, exchanges that fail without a cause
 *   INITIAL    1: created free, and set if it is an event
 *   DESTROY    the last waiter destroys the monitor when one has passed; with one actor and operation
 *   FAULT      a number: one step is wrong, and some check must fail
 */
#define SEMAPHORE 0
#define MANUAL 1
#define AUTO 2
#ifndef KIND
#define KIND AUTO
#endif
#ifndef WAITERS
#define WAITERS 2
#endif
#ifndef ACTORS
#define ACTORS 1
#endif
#ifndef OPERATIONS
#define OPERATIONS 2
#endif
#ifndef CANCELS
#define CANCELS 1
#endif
#ifndef WAKES
#define WAKES 0
#endif
#ifndef FAILURES
#define FAILURES 0
#endif
#ifndef INITIAL
#define INITIAL 0
#endif
#ifndef FAULT
#define FAULT 0
#endif

#define IS_EVENT (KIND != SEMAPHORE)
#define USE assert(exists) /* before every access to the monitor */

bit exists = 1;

/* The word. */
bit freeBit = INITIAL;
bit setBit = INITIAL && IS_EVENT;
bit waitersBit;
short count = INITIAL;

bit locked;
bit waiting[WAITERS];  /* in the ring of those not released */
bit linked[WAITERS];   /* in that ring or in one of a post */
byte ring[WAITERS];    /* which post's */
byte posts;            /* that have released somebody */
bit chosen[WAITERS];
bit served[WAITERS];
bit asleep[WAITERS];

byte cancels = CANCELS;
byte wakes = WAKES;
byte failures = FAILURES;
byte ended;
byte endedWaits;
byte passedWaits;

/* What ought to be: kept beside the real thing, from the rules alone. */
bit ruleFree = INITIAL;
bit ruleSet = INITIAL && IS_EVENT;
short ruleCount = INITIAL;
bit ruleJoined[WAITERS];
bit ruleReleased[WAITERS]; /* by a post that cannot be taken back */
byte ruleLive[16];         /* by post: released threads that have neither passed nor been cancelled */
bit ruleServed[16];        /* by post: it is not lost, whoever is cancelled */

/* The word as a thread has seen it, and what it wants instead. */
#define WORD bit f, s, w, nf, ns, nw, ok, passes; short c, nc; byte k, n
#define IS_SAME (freeBit == f && setBit == s && waitersBit == w && count == c)

inline Load() { d_step { USE; f = freeBit; s = setBit; w = waitersBit; c = count } }

inline RuleReset() {
    ruleFree = 0;
    ruleSet = 0;
    if :: ruleCount > 0 -> ruleCount = 0 :: else fi
}

inline RuleRelease(isServed) {
    n = 0;
    k = 0;
    do
    :: k < WAITERS ->
        if :: ruleJoined[k] -> ruleJoined[k] = 0; ruleReleased[k] = 1; n++ :: else fi;
        k++
    :: else -> break
    od;
    ruleLive[posts + 1] = n;
    ruleServed[posts + 1] = isServed;
    k = 0
}

/* The comparison and the change are one step; on failure the word is what was found instead. `ok`
 * says which. `rule` is what the change means. */
#if FAULT == 1 /* stores without comparing */
#define CAN_REPLACE true
#else
#define CAN_REPLACE IS_SAME
#endif
#define REPLACE(rule)                                                                              \
    atomic {                                                                                       \
        USE;                                                                                       \
        if                                                                                         \
        :: CAN_REPLACE -> freeBit = nf; setBit = ns; waitersBit = nw; count = nc; ok = 1; rule     \
        :: IS_SAME && failures > 0 -> failures--; ok = 0                                           \
        :: !CAN_REPLACE -> f = freeBit; s = setBit; w = waitersBit; c = count; ok = 0              \
        fi                                                                                         \
    }

inline Acquire() { atomic { !locked -> USE; locked = 1 } }
inline Release() { d_step { USE; locked = 0 } }

inline Cleared() {
    nf = 0;
    ns = 0;
    if :: nc > 0 -> nc = 0 :: else fi
}

/* Passes if it can; otherwise counts the attempt, and joins the waiters. */
inline RuleAttempt(joins) {
    if
    :: IS_EVENT && ruleSet -> if :: KIND == AUTO -> RuleReset() :: else fi
    :: else ->
        ruleCount--;
        if
        :: ruleFree -> ruleFree = 0; if :: KIND == AUTO -> RuleReset() :: else fi
        :: else -> if :: joins -> ruleJoined[id] = 1 :: else fi
        fi
    fi
}

inline Attempt(counts, joins) {
    Load();
    do
    :: d_step {
           nf = f; ns = s; nw = w; nc = c;
           passes = f || (IS_EVENT && s);
           if
           :: passes ->
               if :: IS_EVENT && s :: else -> nc = c - 1; nf = 0 fi;
               if :: KIND == AUTO -> Cleared() :: else fi
           :: else ->
               if :: counts -> nc = c - 1 :: else fi;
               if :: joins -> nw = 1 :: else fi
           fi
       };
       if
       :: nf == f && ns == s && nw == w && nc == c -> break
       :: else ->
           REPLACE(RuleAttempt(joins));
           if :: ok -> break :: else fi
       fi
    od
}

inline Reset() {
    Load();
    do
    :: d_step { nf = f; ns = s; nw = w; nc = c; Cleared() };
       if
       :: nf == f && ns == s && nc == c -> break
       :: else ->
           REPLACE(RuleReset());
           if :: ok -> break :: else fi
       fi
    od
}

/* The lock is held. */
inline ChooseWaiters(isServed) {
    d_step {
        USE;
        posts++;
        k = 0;
        do
        :: k < WAITERS ->
            if
            :: waiting[k] -> waiting[k] = 0; chosen[k] = 1; served[k] = isServed; ring[k] = posts
            :: else
            fi;
            k++
        :: else -> break
        od;
        k = 0
    };
    PostAll()
}

inline PostAll() {
    d_step {
        USE;
        k = 0;
        do :: k < WAITERS -> asleep[k] = 0; k++ :: else -> break od;
        k = 0
    }
}

#define IS_FOR_WAITERS (w && !(IS_EVENT && s))

inline RulePost() {
    if
    :: IS_EVENT && ruleSet
    :: else ->
        k = 0;
        do :: k < WAITERS -> assert(!ruleJoined[k]); k++ :: else -> break od;
        k = 0;
        ruleFree = 1;
        ruleSet = IS_EVENT;
        ruleCount = 0
    fi
}

inline RulePostToWaiters() {
    assert(!(IS_EVENT && ruleSet));
    ruleFree = 0;
    ruleSet = IS_EVENT;
    ruleCount = 0;
    RuleRelease(IS_EVENT)
}

/* `ok` is 0 when the waiters are gone, or a Set by another thread has come first. */
inline PostToWaiters() {
#if FAULT != 2 /* without the lock */
    Acquire();
#endif
    Load();
    do
#if FAULT == 3 /* raises the flag with the lock held although nobody waits */
    :: !IS_FOR_WAITERS ->
        d_step { nf = 1; ns = IS_EVENT; nw = 0; nc = 0; if :: IS_EVENT && s -> nf = f; nw = w; nc = c :: else fi };
        REPLACE(RulePost());
        if :: ok -> break :: else fi
#else
    :: !IS_FOR_WAITERS -> ok = 0; break
#endif
    :: IS_FOR_WAITERS ->
        d_step { nf = 0; ns = IS_EVENT; nw = 0; nc = 0 };
        REPLACE(RulePostToWaiters());
        if :: ok -> ChooseWaiters(IS_EVENT); break :: else fi
    od;
#if FAULT != 2
    Release()
#endif
}

inline Post() {
    ok = 0;
    do
    :: ok -> break
    :: else ->
        Load();
        do
        :: IS_FOR_WAITERS -> break
        :: !IS_FOR_WAITERS ->
            d_step {
                nf = 1; ns = IS_EVENT; nw = 0; nc = 0;
                if :: IS_EVENT && s -> nf = f; nw = w; nc = c :: else fi
            };
            REPLACE(RulePost());
            if :: ok -> break :: else fi
        od;
        if :: ok :: else -> PostToWaiters() fi
    od
#if FAULT == 4 /* looks at the monitor again after the step that lets threads pass */
    ; Load()
#endif
}

/* The lock is held. */
inline PassOn() {
    d_step {
        n = 0;
        k = 0;
        do :: k < WAITERS -> n = n + waiting[k]; k++ :: else -> break od;
        k = 0
    };
    if
    :: n == 0 -> d_step { USE; freeBit = 1; ruleFree = 1 }
    :: else ->
        d_step { USE; waitersBit = 0; RuleRelease(0) };
        ChooseWaiters(0)
    fi
}

inline CountRing() { /* `n`: others in the ring of this thread */
    d_step {
        n = 0;
        k = 0;
        do
        :: k < WAITERS ->
            if
            :: k != id && linked[k] && waiting[k] == waiting[id] && (waiting[id] || ring[k] == ring[id]) -> n++
            :: else
            fi;
            k++
        :: else -> break
        od;
        k = 0
    }
}

inline Join() { d_step { USE; waiting[id] = 1; linked[id] = 1; chosen[id] = 0; served[id] = 0 } }

inline Pass() {
    d_step {
        USE;
        k = 0;
        do
        :: k < WAITERS ->
#if FAULT != 5 /* does not tell the others */
            if :: k != id && linked[k] && !waiting[k] && ring[k] == ring[id] -> served[k] = 1 :: else fi;
#endif
            k++
        :: else -> break
        od;
        k = 0;
        ruleServed[ring[id]] = 1
    }
}

/* The destructor of a Waiter; the lock is held. */
inline Leave(hasPassed) {
    CountRing();
    d_step { USE; linked[id] = 0; waiting[id] = 0; nw = (n == 0) };
    if
#if FAULT == 6 /* takes down the sign that there are waiters although others wait */
    :: !chosen[id] -> d_step { USE; waitersBit = 0; ruleJoined[id] = 0 }
#else
    :: !chosen[id] && nw -> d_step { USE; waitersBit = 0; ruleJoined[id] = 0 }
    :: !chosen[id] && !nw -> ruleJoined[id] = 0
#endif
    :: chosen[id] ->
        d_step {
            ruleLive[ring[id]]--;
            ruleReleased[id] = 0;
#if FAULT == 7 /* never hands a post on */
            passes = 0;
#elif FAULT == 8 /* although another thread has used it */
            passes = !hasPassed && nw;
#else
            passes = !hasPassed && nw && !served[id];
#endif
            assert(passes == (!hasPassed && ruleLive[ring[id]] == 0 && !ruleServed[ring[id]]))
        };
        if :: passes -> PassOn() :: else fi
    fi
}

/* Falls asleep and unlocks in one step; comes back with the lock. */
inline Sleep() {
    do
    :: chosen[id] || isOver || isCancelled -> break
    :: else ->
        d_step { USE; locked = 0; asleep[id] = 1 };
        if
        :: !asleep[id]
        :: atomic { asleep[id] && hasLimit -> asleep[id] = 0; isOver = 1 }
        :: atomic { asleep[id] && wakes > 0 -> wakes--; asleep[id] = 0 }
        :: atomic { cancels > 0 -> cancels--; asleep[id] = 0; isCancelled = 1 }
        fi;
        Acquire()
    od
}

inline Block() {
#if FAULT == 9 /* looks for something to pass by and joins in two steps */
    Acquire();
    Attempt(1, 0);
    if :: passes :: else -> d_step { USE; waitersBit = 1; ruleJoined[id] = 1 } fi;
#else
    Acquire();
    Attempt(1, 1);
#endif
    if
    :: passes -> result = 1
    :: else ->
        Join();
        Sleep();
        if
#if FAULT == 10 /* a time-out wins over the release */
        :: isCancelled || isOver || !chosen[id] -> assert(isCancelled || !ruleReleased[id]); Leave(0)
#else
        :: isCancelled || !chosen[id] -> assert(isCancelled || !ruleReleased[id]); Leave(0)
#endif
        :: else ->
            assert(ruleReleased[id]);
            result = 1;
            Pass();
            if :: KIND == AUTO -> Reset() :: else fi;
            Leave(1)
        fi
    fi;
    Release()
}

proctype Waiter(byte id) {
    WORD;
    bit result, hasLimit, isOver, isCancelled, tries;
    if :: tries = 1 :: hasLimit = 1 :: skip fi;
    if
    :: tries -> Attempt(1, 0); result = passes
    :: else ->
        Attempt(0, 0);
        if :: passes -> result = 1 :: else -> Block() fi
    fi;
    atomic {
        passedWaits = passedWaits + result;
        endedWaits++;
#ifdef DESTROY
        if :: endedWaits == WAITERS && passedWaits > 0 -> exists = 0 :: else fi;
#endif
        ended++
    }
}

proctype Actor() {
    WORD;
    byte done;
    do
    :: done < OPERATIONS ->
        done++;
        if
        :: Post()
#ifndef DESTROY
        :: IS_EVENT -> Reset()
#endif
        fi
    :: else -> break
    od;
    ended++
}

init {
    byte i, sleepers, joined;
    atomic {
        /* How many of these come in this run. With some always to come, no sleeper would be stuck. */
        do :: cancels > 0 -> cancels-- :: break od;
        do :: wakes > 0 -> wakes-- :: break od;
        do :: i < WAITERS -> run Waiter(i); i++ :: else -> break od;
        i = 0;
        do :: i < ACTORS -> run Actor(); i++ :: else -> break od
    };
    timeout; /* nobody can go on */
    d_step {
        i = 0;
        do
        :: i < WAITERS ->
            assert(!ruleReleased[i]);
            sleepers = sleepers + asleep[i];
            joined = joined + ruleJoined[i];
            i++
        :: else -> break
        od;
        assert(ended + sleepers == WAITERS + ACTORS);
        assert(sleepers == joined);
        assert(waitersBit == (joined > 0));
        assert(joined == 0 || !(freeBit || (IS_EVENT && setBit)));
        assert(freeBit == ruleFree && setBit == ruleSet && count == ruleCount);
        assert(!locked)
    }
}
