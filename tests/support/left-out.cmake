# SPDX-License-Identifier: MIT
# Tests that cannot run in some builds, by program or as Suite.Name, each with its reason. ctest
# names them as disabled there; every test that is not named here runs in every build.
set(VORN_PROGRAMS_LEFT_OUT)
set(VORN_TESTS_LEFT_OUT)

if(NOT VORN_BASES_XML)
  # They call what needs libxml2: the set-up of the library and the XML classes.
  list(APPEND VORN_PROGRAMS_LEFT_OUT
    BasesTest XmlMemoryTest XmlPlainTextTest XmlReaderContentTest XmlReaderEncodingTest
    XmlReaderLifeTest XmlReaderLoadTest XmlReaderUseTest XmlReleaseTest XmlWriterContentTest
    XmlWriterEncodingTest XmlWriterLifeTest XmlWriterUseTest)
endif()

if(CMAKE_CROSSCOMPILING)
  # Every fault of every operation takes minutes in the emulator and tells nothing of the machine.
  list(APPEND VORN_PROGRAMS_LEFT_OUT SweepTest SweepCanaryTest)

  # The emulator lets no process trace another.
  list(APPEND VORN_PROGRAMS_LEFT_OUT NamedObjectsKillTest)

  # These start their own program again, which the system cannot do with one of another machine. (A
  # test's helper program is no obstacle: it is started through a script.)
  list(APPEND VORN_TESTS_LEFT_OUT
    Processors.AreOneForAProgramThatIsStartedOnOne
    Spin.IsLeftOutWhereThereIsOneProcessor
    TaskPoolDeathTest.EmptyTaskIsAcceptedAndEndsTheProcessWhenItsTurnComes
    TaskPoolDeathTest.ExceptionThatLeavesATaskEndsTheProcess
    ThreadDeathTest.ExceptionThatLeavesTheBodyEndsTheProcess)

  # The emulator (seen with qemu 7.2) reports 0 for the permissions of a segment, whatever they are.
  list(APPEND VORN_TESTS_LEFT_OUT SharedMemory.HasTheSizeAndThePermissionsOfItsFlag)

  # These use ISO-8859-1 or EUC-KR. The C library loads such character sets from modules, which do
  # not come with the cross compiler; UTF-8 and ASCII are built in.
  list(APPEND VORN_TESTS_LEFT_OUT
    MultibyteToWide.UsesTheEncodingOfTheLocaleArgument
    MultibyteToWide.IgnoresTheLocaleOfTheCLibrary
    MultibyteToWide.TakesTheGlobalLocaleByDefault
    MultibyteToWide.DropsACharacterCutOffAtTheEnd
    MultibyteToWide.TakesALongTextForUtf8OnlyWhereTheLocaleDoes
    WideToMultibyte.UsesTheEncodingOfTheLocaleArgument
    WideToMultibyte.IgnoresTheLocaleOfTheCLibrary
    WideToMultibyte.TakesTheGlobalLocaleByDefault
    Utf8ToWide.CountsFirstAndThenConvertsIntoThatCapacity
    Utf8ToWide.UsesTheEncodingOfTheCLocale
    WideToUtf8.UsesTheEncodingOfTheCLocale
    ConversionChain.Utf8ToMultibyteConvertsBetweenTheTwoLocales
    ConversionChain.MultibyteToUtf8NeverReturnsAString
    ConversionChain.TakesTheGlobalLocaleByDefault
    ConversionChain.RunsOnSeveralThreadsAtOnce
    TextString.ConvertsLikeTheMultibyteForms
    TextString.TakesTheGlobalLocaleByDefault)
endif()

include(${CMAKE_CURRENT_LIST_DIR}/find-test.cmake)

file(GLOB_RECURSE sources ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
set(text)
set(programs)
foreach(source IN LISTS sources)
  cmake_path(GET source STEM program)
  list(APPEND programs ${program})
  file(READ ${source} more)
  string(APPEND text "${more}")
endforeach()

# What GoogleTest is asked for: everything but these. A name that is no longer there would leave out
# nothing, or later another test than was meant.
set(VORN_TEST_FILTER -)
foreach(name IN LISTS VORN_PROGRAMS_LEFT_OUT VORN_TESTS_LEFT_OUT)
  vorn_find_test(${name} text pattern)
  if(NOT pattern AND NOT name IN_LIST programs)
    message(FATAL_ERROR "There is no test ${name} to leave out")
  endif()
  if(pattern)
    string(APPEND VORN_TEST_FILTER ":${pattern}")
  endif()
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES DISABLED ON)
endforeach()
