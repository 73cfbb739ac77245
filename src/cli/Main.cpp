// The quillmeter program's entry point.
#include "Cli.h"

#include <cstdlib>
#include <iostream>
#include <unistd.h>

int main(int argc, char** argv)
{
    // Without TZ, glibc looks at /etc/localtime again (a stat) on every local
    // time conversion, and libzip converts each entry's date as it opens a
    // package: a dozen system calls a document. Naming the same file in TZ
    // gives the same zone, read once.
    if (!std::getenv("TZ") && ::access("/etc/localtime", R_OK) == 0)
        ::setenv("TZ", ":/etc/localtime", 0);
    return qm::cli::runMain(std::vector<std::string>(argv, argv + argc), std::cout, std::cerr);
}
