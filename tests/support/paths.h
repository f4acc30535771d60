// The paths that tests need. They are compiled into paths.cpp alone, so that every other object
// file is the same in each checkout and the compiler cache can share it.
#pragma once

#include <string>

std::string SourceDir();   // the checkout
std::string BinaryDir();   // the build tree: the command and the module lie in it
std::string ModulePath();  // the module
