// The quillmeter program's entry point.
#include "Cli.h"

#include <cstdlib>
#include <iostream>
#include <malloc.h>
#include <unistd.h>

int main(int argc, char** argv)
{
    // A run reads document after document, each needing a few large buffers
    // (the file, its inflated parts, the parsed XML) that are freed before
    // the next. By default glibc gives blocks over 128 KiB back to the kernel
    // at once and trims the heap as it shrinks, so every document faults its
    // buffers in again, page by page. Keeping them in the heap lets the next
    // document reuse memory that is already mapped. (The program runs on
    // mimalloc, which keeps its memory anyway; these matter where glibc's
    // allocator is used, as in the sanitizer builds.)
    mallopt(M_MMAP_THRESHOLD, 256 << 20);
    mallopt(M_TRIM_THRESHOLD, 256 << 20);
    mallopt(M_TOP_PAD, 64 << 20);
    // Without TZ, glibc looks at /etc/localtime again (a stat) on every local
    // time conversion, and libzip converts each entry's date as it opens a
    // package: a dozen system calls a document. Naming the same file in TZ
    // gives the same zone, read once.
    if (!std::getenv("TZ") && ::access("/etc/localtime", R_OK) == 0)
        ::setenv("TZ", ":/etc/localtime", 0);
    return qm::cli::runMain(std::vector<std::string>(argv, argv + argc), std::cout, std::cerr);
}
