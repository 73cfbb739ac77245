// The quillmeter program's entry point.
#include "Cli.h"

#include <cstdlib>
#include <iostream>
#include <unistd.h>

#ifdef QM_MIMALLOC
#include <mimalloc.h>
#endif

int main(int argc, char** argv)
{
    // Without TZ, glibc looks at /etc/localtime again (a stat) on every local
    // time conversion, and libzip converts each entry's date as it opens a
    // package: a dozen system calls a document. Naming the same file in TZ
    // gives the same zone, read once.
    if (!std::getenv("TZ") && ::access("/etc/localtime", R_OK) == 0)
        ::setenv("TZ", ":/etc/localtime", 0);
#ifdef QM_MIMALLOC
    // Memory freed and not used again within mimalloc's 25 ms is handed back
    // to the system, and faulted in anew when the next document needs it:
    // between documents of a run it mostly is needed again. A second keeps
    // it; a longer pause still returns it. MIMALLOC_DECOMMIT_DELAY decides
    // where it is set.
    if (!std::getenv("MIMALLOC_DECOMMIT_DELAY"))
        mi_option_set(mi_option_decommit_delay, 1000);
#endif
    return qm::cli::runMain(std::vector<std::string>(argv, argv + argc), std::cout, std::cerr);
}
