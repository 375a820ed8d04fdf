/*
 * A lamp on pin B5.
 *
 * A comment of five lines and more at the top is what makes the
 * program write its second marker directly behind the first one,
 * and that is where avr-gcc 5.4 crashes if the marker has no name.
 *
 * Line 8.
 * Line 9.
 */
#include <avr/io.h>

int main(void)
{
    DDRB |= _BV(DDB5);
    for (;;)
        PORTB ^= _BV(PORTB5) LINE_17;
}
