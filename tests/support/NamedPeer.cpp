// A second process for the tests of named objects. It reads one command a line and answers each
// with one line, so that a test decides the order of events in both processes.
//
//     mutex-create NAME, mutex-open NAME, mutex-lock MS, mutex-unlock, mutex-close, event-open NAME,
//     event-set, event-wait MS, event-close: the operation; the answer is its result, 0 or 1
#include <Bases/Thread.h>

#include <cstdio>
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

} // namespace

int main() {
    Vorn::Mutex mutex;
    Vorn::Event event;
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
