// The program's entry. The window and the command-line jobs are being built;
// until they are, the program says so instead of pretending to work.
#include <cstdio>

int main(int, char**) {
    std::fprintf(stderr,
                 "Morvane %s: the window and the command-line jobs are not built yet.\n"
                 "The cipher can be tried with build/tools/morvane-cipher.\n",
                 MORVANE_VERSION);
    return 1;
}
