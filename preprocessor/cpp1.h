// The whole run, for the program's main and for harnesses that bring their own.
#ifndef PREPROCESSOR_CPP1_H
#define PREPROCESSOR_CPP1_H

// Preprocesses as the arguments say; leaves through drv_exit.
[[noreturn]] void cpp_main(int argc, char** argv);

#endif
