// precompiled.cpp - the one program built only to make the precompiled GoogleTest and GoogleMock
// headers that every test program reuses (tests/CMakeLists.txt); it runs no test.
#include <gtest/gtest.h>
