// SPDX-License-Identifier: MIT
// Tells what the module queries say in a program of its own, which tests copy to where they want
// it. Prints the result of the buffer form, its text and the text of the string form, a line each.

#include <iostream>

#include <Bases/Bases.h>

int main() {
    char buffer[8192] = {};
    const int result = Vorn::GetModuleDir(buffer, sizeof buffer);
    std::string text = "old";
    Vorn::GetModuleDir(text);
    std::cout << result << '\n' << buffer << '\n' << text << '\n';
}
