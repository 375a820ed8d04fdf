#define UNUSED
