// SPDX-License-Identifier: Apache-2.0
#include "program/program.h"

#include <iostream>

int main(int argc, char** argv) { return Norvane::Host::run_program(argc, argv, std::cout, std::cerr); }
