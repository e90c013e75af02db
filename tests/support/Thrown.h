// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_THROWN_H
#define VORN_BASES_TESTS_SUPPORT_THROWN_H

#include <exception>
#include <stdexcept>
#include <string>
#include <typeinfo>

namespace VornTest {

/// Calls `operation` and returns what it threw: exact kind and message, as in "runtime_error:
/// text".
template <typename Operation>
std::string Thrown(Operation operation) {
    try {
        operation();
        return "nothing";
    } catch (const std::exception& e) {
        if (typeid(e) == typeid(std::runtime_error))
            return std::string("runtime_error: ") + e.what();
        if (typeid(e) == typeid(std::logic_error))
            return std::string("logic_error: ") + e.what();
        return std::string(typeid(e).name()) + ": " + e.what();
    }
}

} // namespace VornTest

#endif
