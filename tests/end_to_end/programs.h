/// \file
/// Where this build has the program and the driver under test.
#ifndef DX7_TESTS_END_TO_END_PROGRAMS_H
#define DX7_TESTS_END_TO_END_PROGRAMS_H

extern const char* const dx7Program;
extern const char* const driverLibrary;

#endif
