/// native_answers STANDARD CHANGES FILE: what quilletAnswer says on this machine.

#include <cstdlib>

#include "tests/packaging/ios/emulation/TagAnswers.hpp"

int main(int count, char** arguments) {
    if (count != 4) return 2;
    quilletAnswer(arguments[3], std::atoi(arguments[1]), std::atoi(arguments[2]));
    return 0;
}
