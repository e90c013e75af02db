// SPDX-License-Identifier: MIT
// A program that a sanitizer watches, with what threads hand over by each means that the library
// has, and memory that is used on both sides. The argument names a mistake for it to make: race or
// read.

#include <string>
#include <thread>

#include <Bases/Bases.h>
#include <Bases/Container.h>
#include <Bases/Text.h>
#include <Bases/Thread.h>
#include <Bases/Xml.h>

using namespace Vorn;

namespace {

constexpr int Rounds = 200;

// Two threads add to one number, each within what guards it.
template <typename Add>
bool BothAdd(Add add) {
    int number = 0;
    auto body = [&] {
        for (int i = 0; i < Rounds; ++i)
            add(number);
    };
    std::thread other(body);
    body();
    other.join();
    return number == 2 * Rounds;
}

bool AddsUnderCs() {
    Cs lock;
    return BothAdd([&lock](int& number) {
        const CsLocker locker(lock);
        ++number;
    });
}

// One thread waits for a number, which the other one has written before it sets the event: often
// before the wait has begun, often after.
bool HandsOverByEvent(int kind) {
    bool right = true;
    for (int i = 0; i < Rounds; ++i) {
        Event written;
        Event read;
        int number = 0;
        written.Create(kind, EventState::NotSet, nullptr);
        read.Create(kind, EventState::NotSet, nullptr);
        std::thread writer([&] {
            number = i;
            written.Set();
            read.Wait(WaitForever);
            ++number;
        });
        written.Wait(WaitForever);
        right = right && number == i;
        read.Set();
        writer.join();
        right = right && number == i + 1;
    }
    return right;
}

// A mutex of one process lets several waiters in at once, so here only one waits.
bool HandsOverByMutex() {
    bool right = true;
    for (int i = 0; i < Rounds; ++i) {
        Mutex done;
        done.Create(nullptr);
        done.Lock(WaitForever);
        int number = 0;
        std::thread writer([&] {
            number = i;
            done.Unlock();
        });
        right = done.Lock(WaitForever) && number == i && right;
        writer.join();
    }
    return right;
}

bool HandsOverByPool() {
    int sum = 0;
    Event done;
    done.Create(EventKind::ManualReset, EventState::NotSet, nullptr);
    ThreadTaskPool pool;
    pool.StartThread(ThreadStart::Running);
    for (int i = 1; i <= Rounds; ++i)
        pool.Post([&sum, i] { sum += i; });
    pool.Post([&done] { done.Set(); });
    done.Wait(WaitForever);
    const bool right = sum == Rounds * (Rounds + 1) / 2;
    pool.StopThread(WaitForever, ThreadStop::LeaveRunning);
    return right;
}

class Counter : public ThreadHandler {
public:
    int OnPreThreadStart(Thread*) override { return 1; }
    int OnThreadEntry(Thread* pThread) override {
        do
            ++m_nTurns;
        while (!pThread->IsStopThread(0));
        return 0;
    }
    int Turns() const { return m_nTurns; }

private:
    int m_nTurns = 0;
};

bool HandsOverByThread() {
    Counter counter;
    Thread thread;
    thread.SetThreadHandler(&counter);
    thread.StartThread(ThreadStart::Running);
    thread.StopThread(WaitForever, ThreadStop::LeaveRunning);
    return counter.Turns() > 0;
}

// Memory that one side allocates and the other one frees or reads.
bool SharesMemory() {
    SerialBuffer buffer;
    Bits bits;
    for (unsigned char i = 0; i < Rounds; ++i)
        buffer.AddBuffer(&i, 1, 1);
    bits.SetData(buffer.GetBuffer(), 8 * buffer.GetSize());
    const unsigned char* const array = buffer.Fetch();
    const bool right = array[Rounds - 1] == Rounds - 1 && bits.Test(8) != 0;
    delete[] array;
    return right && mbs_to_wcs(std::string(Rounds, 'x')) == std::wstring(Rounds, L'x');
}

bool ReadsWhatItWrites() {
    XmlWriter writer;
    writer.BeginDocument("UTF-8");
    writer.BeginElement("shop");
    writer.WriteElementEntity("item", "salt & pepper");
    writer.EndDocument();
    unsigned long size = 0;
    unsigned char* const document = writer.GetXmlBuffer(size);

    XmlReader reader;
    std::string text;
    return reader.Load(document, size) &&
           reader.GetEntity(reader.ChildElement(reader.GetRootElement()), text) &&
           text == "salt & pepper";
}

// The mistakes that have to be noticed.

void Race() {
    int number = 0;
    std::thread other([&number] { ++number; });
    ++number;
    other.join();
}

void ReadBehind() {
    unsigned char* const data = new unsigned char[8]();
    Bits bits;
    bits.SetData(data, 65); // nine bytes, which the library reads
    delete[] data;
}

} // namespace

int main(int argc, char** argv) {
    const std::string mistake = argc == 2 ? argv[1] : "";
    BasesInit();
    const bool right = AddsUnderCs() && HandsOverByEvent(EventKind::ManualReset) &&
                       HandsOverByEvent(EventKind::AutoReset) && HandsOverByMutex() &&
                       HandsOverByPool() && HandsOverByThread() && SharesMemory() &&
                       ReadsWhatItWrites();
    if (mistake == "race")
        Race();
    if (mistake == "read")
        ReadBehind();
    BasesRelease();
    return right ? 0 : 3;
}
