// The quillmeter program's entry point.
#include "Cli.h"

#include <iostream>

int main(int argc, char** argv)
{
    return qm::cli::runMain(std::vector<std::string>(argv, argv + argc), std::cout, std::cerr);
}
