// SPDX-License-Identifier: MIT
// Concerns: which commands of a macro are executed or deleted, how often and in which order, with
// null entries, nested macros, exceptions and commands that are added on the way; who owns a
// command that could not be added; the shape of the classes.
#include <Bases/Utility.h>

#include <array>
#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "fault/Platform.h"
#include "support/Slot.h"
#include "support/Thrown.h"

namespace {

namespace Platform = VornTest::Platform;

using Vorn::Command;
using Vorn::MacroCommand;
using VornTest::Slot;
using VornTest::Slots;
using VornTest::Thrown;

using Log = std::vector<std::string>;

// Writes down what happens to it: its name when it is executed, "~" and its name when it is
// deleted.
class Noted : public Command {
public:
    Noted(Log& log, std::string name, std::function<void()> action = {})
        : m_log(log), m_name(std::move(name)), m_action(std::move(action)) {}
    ~Noted() override { m_log.push_back("~" + m_name); }
    Noted(const Noted&) = delete;
    Noted& operator=(const Noted&) = delete;

    void Execute() override {
        m_log.push_back(m_name);
        if (m_action)
            m_action();
    }

private:
    Log& m_log;
    std::string m_name;
    std::function<void()> m_action;
};

// The same for a macro, whose own end comes before that of its commands.
class NotedMacro : public MacroCommand {
public:
    NotedMacro(Log& log, std::string name) : m_log(log), m_name(std::move(name)) {}
    ~NotedMacro() override { m_log.push_back("~" + m_name); }
    NotedMacro(const NotedMacro&) = delete;
    NotedMacro& operator=(const NotedMacro&) = delete;

private:
    Log& m_log;
    std::string m_name;
};

TEST(Macro, DoesNothingWhenItIsEmpty) {
    Log log;
    {
        NotedMacro macro(log, "macro");
        macro.Execute();
        EXPECT_EQ(Log{}, log);
    }
    EXPECT_EQ(Log{"~macro"}, log);
}

TEST(Macro, ExecutesInTheOrderOfAddingAndDeletesNothingYet) {
    Log log;
    MacroCommand macro;
    for (const char* name : {"c", "a", "b"})
        macro.Add(new Noted(log, name));
    EXPECT_EQ(Log{}, log);
    macro.Execute();
    EXPECT_EQ((Log{"c", "a", "b"}), log);
}

TEST(Macro, ExecutesAllAgainEachTimeWithWhatWasAddedMeanwhile) {
    Log log;
    MacroCommand macro;
    macro.Add(new Noted(log, "a"));
    macro.Execute();
    macro.Add(new Noted(log, "b"));
    macro.Execute();
    EXPECT_EQ((Log{"a", "a", "b"}), log);
}

TEST(Macro, DeletesEachCommandOnceInTheOrderOfAdding) {
    Log log;
    {
        MacroCommand macro;
        for (const char* name : {"c", "a", "b"})
            macro.Add(new Noted(log, name));
    }
    EXPECT_EQ((Log{"~c", "~a", "~b"}), log);
}

TEST(Macro, DeletesThroughAPointerToCommand) {
    Log log;
    std::unique_ptr<Command> command;
    {
        auto macro = std::make_unique<MacroCommand>();
        macro->Add(new Noted(log, "a"));
        command = std::move(macro);
    }
    command->Execute();
    command.reset();
    EXPECT_EQ((Log{"a", "~a"}), log);
}

TEST(Macro, SkipsNullEntriesWhereverTheyAre) {
    Log log;
    {
        MacroCommand macro;
        macro.Add(nullptr);
        macro.Add(new Noted(log, "a"));
        macro.Add(nullptr);
        macro.Add(nullptr);
        macro.Add(new Noted(log, "b"));
        macro.Add(nullptr);
        macro.Execute();
    }
    EXPECT_EQ((Log{"a", "b", "~a", "~b"}), log);
}

TEST(Macro, OfNothingButNullDoesNothing) {
    MacroCommand macro;
    macro.Add(nullptr);
    EXPECT_EQ("nothing", Thrown([&] { macro.Execute(); }));
}

TEST(Macro, ExecutesAndDeletesNestedOnesInTheirPlace) {
    Log log;
    {
        NotedMacro outer(log, "outer");
        auto* inner = new NotedMacro(log, "inner");
        auto* innermost = new NotedMacro(log, "innermost");
        outer.Add(new Noted(log, "1"));
        outer.Add(inner);
        outer.Add(new Noted(log, "5"));
        inner->Add(new Noted(log, "2"));
        inner->Add(innermost);
        inner->Add(new Noted(log, "4"));
        innermost->Add(new Noted(log, "3"));
        outer.Execute();
        EXPECT_EQ((Log{"1", "2", "3", "4", "5"}), log);
        log.clear();
    }
    EXPECT_EQ((Log{"~outer", "~1", "~inner", "~2", "~innermost", "~3", "~4", "~5"}), log);
}

TEST(MacroException, LeavesAtOnceAndReachesTheCaller) {
    Log log;
    MacroCommand macro;
    macro.Add(new Noted(log, "a"));
    macro.Add(new Noted(log, "b", [] { throw std::runtime_error("of b"); }));
    macro.Add(new Noted(log, "c"));
    EXPECT_EQ("runtime_error: of b", Thrown([&] { macro.Execute(); }));
    EXPECT_EQ((Log{"a", "b"}), log);
}

TEST(MacroException, LeavesEveryMacroOnItsWayOut) {
    Log log;
    MacroCommand outer;
    auto* inner = new MacroCommand;
    outer.Add(inner);
    outer.Add(new Noted(log, "c"));
    inner->Add(new Noted(log, "a", [] { throw std::runtime_error("of a"); }));
    inner->Add(new Noted(log, "b"));
    EXPECT_EQ("runtime_error: of a", Thrown([&] { outer.Execute(); }));
    EXPECT_EQ(Log{"a"}, log);
}

TEST(MacroException, LeavesAMacroThatStartsOverAndDeletesAll) {
    Log log;
    bool fails = true;
    {
        MacroCommand macro;
        macro.Add(new Noted(log, "a"));
        macro.Add(new Noted(log, "b", [&] {
            if (fails)
                throw std::runtime_error("of b");
        }));
        macro.Add(new Noted(log, "c"));
        EXPECT_EQ("runtime_error: of b", Thrown([&] { macro.Execute(); }));
        fails = false;
        log.clear();
        macro.Execute();
        EXPECT_EQ((Log{"a", "b", "c"}), log);
        log.clear();
    }
    EXPECT_EQ((Log{"~a", "~b", "~c"}), log);
}

TEST(MacroAdd, FromACommandIsExecutedInTheSameRunAfterAllOthers) {
    Log log;
    {
        MacroCommand macro;
        bool added = false;
        macro.Add(new Noted(log, "a", [&] {
            if (!std::exchange(added, true))
                macro.Add(new Noted(log, "new"));
        }));
        macro.Add(new Noted(log, "b"));
        macro.Execute();
        EXPECT_EQ((Log{"a", "b", "new"}), log);
        macro.Execute();
        EXPECT_EQ((Log{"a", "b", "new", "a", "b", "new"}), log);
        log.clear();
    }
    EXPECT_EQ((Log{"~a", "~b", "~new"}), log);
}

TEST(MacroAdd, FromTheLastCommandIsExecutedInTheSameRunToo) {
    Log log;
    MacroCommand macro;
    int left = 3;
    std::function<void()> addAnother = [&] {
        if (left-- > 0)
            macro.Add(new Noted(log, std::to_string(left), addAnother));
    };
    macro.Add(new Noted(log, "first", addAnother));
    macro.Execute();
    EXPECT_EQ((Log{"first", "2", "1", "0"}), log);
}

TEST(MacroAdd, TakesACommandThatItAlreadyHas) {
    // The macro's end would delete the command twice, so it is never destroyed.
    alignas(MacroCommand) static std::array<std::byte, sizeof(MacroCommand)> storage;
    static Log log;
    static Noted command(log, "a");
    auto* macro = new (storage.data()) MacroCommand;
    macro->Add(&command);
    macro->Add(&command);
    macro->Execute();
    EXPECT_EQ((Log{"a", "a"}), log);
    macro->Execute();
    EXPECT_EQ((Log{"a", "a", "a", "a"}), log);
}

TEST(MacroAdd, LeavesTheCommandToTheCallerWhenMemoryIsShort) {
    Log log;
    {
        MacroCommand macro;
        macro.Add(new Noted(log, "a"));
        auto refused = std::make_unique<Noted>(log, "refused");
        Platform::operator_new.Fail(ENOMEM);
        bool thrown = false;
        try {
            macro.Add(refused.get());
        } catch (const std::bad_alloc&) {
            thrown = true;
        }
        Platform::operator_new.Reset();
        EXPECT_TRUE(thrown);
        macro.Execute();
        EXPECT_EQ(Log{"a"}, log);
        refused.reset();
        EXPECT_EQ((Log{"a", "~refused"}), log);
    }
    EXPECT_EQ((Log{"a", "~refused", "~a"}), log);
}

TEST(CommandLayout, HasADestructorAndThenExecute) {
    // A destructor fills two slots: one for a whole object, one that also frees it.
    EXPECT_EQ(2U, Slot(&Command::Execute));
    EXPECT_EQ(2U, Slot(&MacroCommand::Execute));
    EXPECT_EQ(3U, Slots<Command>());
    EXPECT_EQ(3U, Slots<MacroCommand>());
}

TEST(CommandLayout, HoldsNothingButAMacrosList) {
    EXPECT_EQ(sizeof(void*), sizeof(Command));
    EXPECT_EQ(sizeof(void*) + sizeof(std::list<Command*>), sizeof(MacroCommand));
}

static_assert(std::is_abstract_v<Command> && std::has_virtual_destructor_v<Command>);
static_assert(std::is_same_v<decltype(&Command::Execute), void (Command::*)()>);
static_assert(std::is_same_v<decltype(&MacroCommand::Add), void (MacroCommand::*)(Command*)>);
static_assert(std::is_convertible_v<MacroCommand*, Command*>);
static_assert(std::is_default_constructible_v<MacroCommand>);
static_assert(!std::is_copy_constructible_v<MacroCommand> &&
              !std::is_copy_assignable_v<MacroCommand>);

} // namespace
