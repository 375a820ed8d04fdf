#include <8051.h>

static unsigned char ticks;

/*
 * A lamp on pin P1.0.
 *
 * Five lines of comment and more are what
 * makes the preprocessor write a marker;
 * it has no name, since the file is still
 * the same.
 */
void main(void)
{
    for (;;)
        if (++ticks == 0)
            P1_0 = !P1_0;
}
