#include <Bases/Bases.h>

#include <gtest/gtest.h>

namespace {

TEST(Process, TheCallingProcessExists) { EXPECT_EQ(1, Vorn::IsExistProcess(Vorn::GetProcessId())); }

} // namespace
