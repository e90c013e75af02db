// SPDX-License-Identifier: MIT
// Concerns, for each reserved class: what an object is made of and does to the memory around it;
// that nothing is allocated; that it is a base class whose objects know their type and are deleted
// through it; that it has no other operations.
#include <Bases/Utility.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <type_traits>
#include <typeinfo>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fault/Platform.h"
#include "support/Slot.h"

namespace {

namespace Platform = VornTest::Platform;

using testing::IsEmpty;
using testing::IsSupersetOf;

void* volatile g_sink = nullptr; // what goes here cannot be optimised away

template <typename Shell>
class ReservedClass : public testing::Test {};

using Shells = testing::Types<Vorn::MemPool, Vorn::Random, Vorn::RegEx>;
TYPED_TEST_SUITE(ReservedClass, Shells);

template <typename Shell>
class Derived : public Shell {
public:
    explicit Derived(int& ends) : m_ends(ends) {}
    ~Derived() override { ++m_ends; }
    Derived(const Derived&) = delete;
    Derived& operator=(const Derived&) = delete;

private:
    int& m_ends;
};

TYPED_TEST(ReservedClass, IsAPointerToItsTypeAndNothingElse) {
    EXPECT_EQ(sizeof(void*), sizeof(TypeParam));
    EXPECT_TRUE(std::is_polymorphic_v<TypeParam>);
    EXPECT_TRUE(std::has_virtual_destructor_v<TypeParam>);
    EXPECT_FALSE(std::is_abstract_v<TypeParam>);
}

TYPED_TEST(ReservedClass, HasNoVirtualOperationBesideTheDestructor) {
    EXPECT_EQ(2U, VornTest::Slots<TypeParam>());
}

TYPED_TEST(ReservedClass, CanBeConstructedByDefaultAndCopied) {
    EXPECT_TRUE(std::is_default_constructible_v<TypeParam>);
    EXPECT_TRUE(std::is_copy_constructible_v<TypeParam>);
    EXPECT_TRUE(std::is_copy_assignable_v<TypeParam>);
    TypeParam first;
    TypeParam second(first);
    first = second;
    EXPECT_EQ(typeid(TypeParam), typeid(first));
    EXPECT_EQ(typeid(TypeParam), typeid(second));
}

TYPED_TEST(ReservedClass, AllocatesNothingWhateverTheNumberOfObjects) {
    Platform::RecordAll();
    g_sink = new char;
    ::operator delete(g_sink);
    g_sink = std::malloc(1);
    std::free(g_sink);
    ASSERT_THAT(Platform::Order(), IsSupersetOf({"operator new", "malloc"}))
        << "the record does not see what it is there to see";

    for (Platform::Call* const call : Platform::All())
        call->Forget();
    for (int round = 0; round < 100; ++round) {
        std::array<TypeParam, 100> objects;
        g_sink = &objects;
    }
    EXPECT_THAT(Platform::Order(), IsEmpty());
}

TYPED_TEST(ReservedClass, TouchesNothingOutsideOfItself) {
    constexpr unsigned char Guard = 0x5A;
    constexpr std::size_t Size = sizeof(TypeParam);
    alignas(TypeParam) std::array<unsigned char, 3 * Size> area;
    area.fill(Guard);
    auto* object = new (area.data() + Size) TypeParam;
    g_sink = object;
    object->~TypeParam();
    const auto isGuard = [](unsigned char byte) { return byte == Guard; };
    EXPECT_TRUE(std::all_of(area.begin(), area.begin() + Size, isGuard));
    EXPECT_TRUE(std::all_of(area.begin() + 2 * Size, area.end(), isGuard));
}

TYPED_TEST(ReservedClass, KnowsTheTypeOfADerivedObjectAndDeletesIt) {
    int ends = 0;
    std::unique_ptr<TypeParam> object = std::make_unique<Derived<TypeParam>>(ends);
    TypeParam& base = *object;
    EXPECT_EQ(typeid(Derived<TypeParam>), typeid(base));
    EXPECT_NE(nullptr, dynamic_cast<Derived<TypeParam>*>(object.get()));
    EXPECT_EQ(0, ends);
    object.reset();
    EXPECT_EQ(1, ends);
}

TYPED_TEST(ReservedClass, KnowsItsOwnTypeAndDeletesItself) {
    auto object = std::make_unique<TypeParam>();
    TypeParam& base = *object;
    EXPECT_EQ(typeid(TypeParam), typeid(base));
    EXPECT_EQ(nullptr, dynamic_cast<Derived<TypeParam>*>(object.get()));
}

} // namespace
