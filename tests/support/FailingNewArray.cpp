#include "FailingNewArray.h"

#include <cstring>
#include <new>

using VornTest::FailingNewArray;

extern "C" {

void* __real__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag);

void* __wrap__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) {
    ++FailingNewArray::count;
    FailingNewArray::lastSize = size;
    if (FailingNewArray::failFrom != 0 && size >= FailingNewArray::failFrom)
        return nullptr;
    void* array = __real__ZnamRKSt9nothrow_t(size, tag);
    if (array != nullptr)
        std::memset(array, FailingNewArray::Unwritten, size);
    return array;
}
}
