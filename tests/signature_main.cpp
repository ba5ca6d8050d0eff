// Prints the signature of the program; with --plain it is worked out by plain ticking.
#include <cstdio>
#include <string_view>

#include "tests/signature.h"

int main(int argc, char **argv)
{
    const bool plain = argc == 2 && std::string_view(argv[1]) == "--plain";
    if (argc > 1 && !plain) {
        std::fprintf(stderr, "usage: dcfsim_signature [--plain]\n");
        return 2;
    }
    std::puts(Signature(plain).c_str());
    return 0;
}
