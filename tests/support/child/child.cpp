// The program that process tests start.
//   child copy CODE     writes what it reads, until its input ends, and exits with CODE
//   child show ARG...   writes each argument in brackets
#include <cstdio>
#include <cstdlib>
#include <cstring>

int main(int count, char** arguments) {
    if (count < 2) return 2;
    if (std::strcmp(arguments[1], "show") == 0) {
        for (int i = 2; i < count; ++i) std::printf("[%s]", arguments[i]);
        return 0;
    }
    for (int c = std::getchar(); c != EOF; c = std::getchar()) std::putchar(c);
    return count > 2 ? static_cast<int>(std::strtol(arguments[2], nullptr, 10)) : 0;
}
