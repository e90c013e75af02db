#include "FailingNew.h"

#include <new>

using VornTest::FailingNew;

extern "C" {

void* __real__Znwm(std::size_t size);
void* __real__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag);

void* __wrap__Znwm(std::size_t size) {
    if (FailingNew::failFrom != 0 && size >= FailingNew::failFrom)
        throw std::bad_alloc();
    return __real__Znwm(size);
}

void* __wrap__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) {
    int& count = FailingNew::nothrowUntilFailure;
    if (count > 0 && --count == 0)
        return nullptr;
    return __real__ZnwmRKSt9nothrow_t(size, tag);
}
}
