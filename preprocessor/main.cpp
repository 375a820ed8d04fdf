// The program's entry, apart from the rest so that the rest can be linked into tests.
#include "preprocessor/cpp1.h"

int main(int argc, char** argv) { cpp_main(argc, argv); }
