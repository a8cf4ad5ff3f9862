// zelkov: inspect, clean, simplify and find features of triangle meshes.

#include <cstdio>
#include <iostream>

#include <unistd.h>

#include "cli.h"

int main(int argc, char** argv)
{
    return Zelkov::Cli::run(argc, argv, std::cout, std::cerr, isatty(fileno(stderr)) != 0);
}
