// SPDX-License-Identifier: MIT
// A second process for the tests of named objects and shared memory. It reads one command a line
// and answers each with one line, so that a test decides the order of events in both processes.
//
//     mutex-create NAME, mutex-open NAME, mutex-lock MS, mutex-unlock, mutex-close,
//     event-open NAME, event-set, event-wait MS, event-close,
//     shm-create SIZE READ-ONLY NAME, shm-open READ-ONLY NAME, shm-close:
//         the operation; the answer is its result, 0 or 1
//     shm-map, shm-unmap: the same; a failed attachment is 0
//     shm-write NUMBER, shm-holds NUMBER: writes the first byte that is mapped, or compares it
#include <Bases/Thread.h>

#include <cstdint>
#include <functional>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

namespace {

unsigned int ReadTime(std::istream& in) {
    unsigned long ms = 0;
    in >> ms;
    return static_cast<unsigned int>(ms);
}

std::string ReadName(std::istream& in) {
    std::string name;
    in >> name;
    return name;
}

template <class T>
T ReadNumber(std::istream& in) {
    T number = 0;
    in >> number;
    return number;
}

// A segment and where it is mapped.
class SharedByte {
public:
    bool Create(std::istream& in) {
        const auto size = ReadNumber<unsigned long>(in);
        const int bReadOnly = ReadNumber<int>(in);
        return m_shm.Create(size, ReadName(in).c_str(), bReadOnly, 0);
    }
    bool Open(std::istream& in) {
        const int bReadOnly = ReadNumber<int>(in);
        return m_shm.Open(ReadName(in).c_str(), bReadOnly);
    }
    bool Map() {
        m_mapped = m_shm.Map();
        return m_mapped != nullptr && reinterpret_cast<std::intptr_t>(m_mapped) != -1;
    }
    bool Unmap() { return m_shm.Unmap(m_mapped); }
    bool Write(std::istream& in) {
        *m_mapped = static_cast<unsigned char>(ReadNumber<int>(in));
        return true;
    }
    bool Holds(std::istream& in) const { return *m_mapped == ReadNumber<int>(in); }
    bool Close() {
        m_shm.Close();
        return !m_shm.IsOpened();
    }

private:
    Vorn::Shm m_shm;
    unsigned char* m_mapped = nullptr;
};

} // namespace

int main() {
    Vorn::Mutex mutex;
    Vorn::Event event;
    // Never destroyed: an end of this process leaves its segment as it is.
    static SharedByte* const shared = new SharedByte;
    const std::map<std::string, std::function<bool(std::istream&)>> commands = {
        {"mutex-create", [&](std::istream& in) { return mutex.Create(ReadName(in).c_str()); }},
        {"mutex-open", [&](std::istream& in) { return mutex.Open(ReadName(in).c_str()); }},
        {"mutex-lock", [&](std::istream& in) { return mutex.Lock(ReadTime(in)); }},
        {"mutex-unlock",
         [&](std::istream&) {
             mutex.Unlock();
             return true;
         }},
        {"mutex-close", [&](std::istream&) { return mutex.Close(); }},
        {"event-open", [&](std::istream& in) { return event.Open(ReadName(in).c_str()); }},
        {"event-set", [&](std::istream&) { return event.Set(); }},
        {"event-wait", [&](std::istream& in) { return event.Wait(ReadTime(in)); }},
        {"event-close",
         [&](std::istream&) {
             event.Close();
             return true;
         }},
        {"shm-create", [&](std::istream& in) { return shared->Create(in); }},
        {"shm-open", [&](std::istream& in) { return shared->Open(in); }},
        {"shm-map", [&](std::istream&) { return shared->Map(); }},
        {"shm-unmap", [&](std::istream&) { return shared->Unmap(); }},
        {"shm-write", [&](std::istream& in) { return shared->Write(in); }},
        {"shm-holds", [&](std::istream& in) { return shared->Holds(in); }},
        {"shm-close", [&](std::istream&) { return shared->Close(); }},
    };

    std::string line;
    while (std::getline(std::cin, line)) {
        std::istringstream in(line);
        std::string name;
        in >> name;
        const auto command = commands.find(name);
        if (command == commands.end())
            return 2;
        std::cout << (command->second(in) ? "1" : "0") << std::endl;
    }
}
