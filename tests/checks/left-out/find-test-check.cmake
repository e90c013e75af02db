# SPDX-License-Identifier: MIT
# Checks that vorn_find_test knows every macro that defines a test, and no other name.
include(${CMAKE_CURRENT_LIST_DIR}/../../support/find-test.cmake)

set(sources "
TEST(Plain, Test) {
TEST_F(Fixture, Test) {
TEST_F(Fixture,
       OfALongName) {
TEST_P(Parameters, Test) {
TYPED_TEST(Types, Test) {
TYPED_TEST_P(TypeParameters, Test) {
// TEST(Plain, InAComment) {
")

function(expect name expected)
  vorn_find_test(${name} sources pattern)
  if(NOT pattern STREQUAL expected)
    message(SEND_ERROR "${name} is \"${pattern}\" instead of \"${expected}\"")
  endif()
endfunction()

expect(Plain.Test Plain.Test)
expect(Fixture.Test Fixture.Test)
expect(Fixture.OfALongName Fixture.OfALongName)
expect(Parameters.Test "*/Parameters.Test/*")
expect(Types.Test "Types/*.Test")
expect(TypeParameters.Test "*/TypeParameters/*.Test")
expect(Plain.Tes "")
expect(lain.Test "")
expect(Plain.InAComment "")
expect(Plain "")
