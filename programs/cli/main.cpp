// main.cpp - cmpi-cli, the command-line client of cmpi-hostd (see cli.h and cmpi-cli --help).
#include "cli.h"

int main(int argc, char **argv) { return cli::main_entry(argc, argv); }
