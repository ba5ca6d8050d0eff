// Prints the signature of the program; see Usage.
#include <cstdio>
#include <string>
#include <string_view>

#include "tests/signature.h"

int main(int argc, char **argv)
{
    bool plain = false;
    bool files = false;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        plain = plain || argument == "--plain";
        files = files || argument == "--files";
        if (argument != "--plain" && argument != "--files") {
            std::fprintf(stderr, "usage: dcfsim_signature [--plain] [--files]\n"
                                 "  --plain  worked out by plain ticking\n"
                                 "  --files  a hash for each result file too, as in "
                                 "tests/signature.txt\n");
            return 2;
        }
    }
    const SIGNATURE signature = Signature(plain);
    std::printf("%s\n%s", signature.total.c_str(), files ? signature.parts.c_str() : "");
    return 0;
}
