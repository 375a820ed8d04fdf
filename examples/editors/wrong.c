/* One message of each shape. */
#define F(x) x
#define M F(1, 2)
int a = M;
F(F(1, 2))
#bad
#advisory hello
#include "wrong.h"
#error stop
#if 1
