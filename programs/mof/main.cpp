// main.cpp - cmpi-mof, the MOF importer of the schema database (see mof_tool.h and --help).
#include <iostream>
#include <string>
#include <vector>

#include "mof_tool.h"

int main(int argc, char **argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  return mof::RunTool(args, std::cout, std::cerr);
}
