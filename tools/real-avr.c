/*
 * A watchdog-fed pulse counter: device registers by the hundred, flash strings, delays.
 *
 * It opens with ten lines of comment and a declaration, so that the second
 * line marker of the preprocessed text stands directly behind the first one.
 * Markers name their file only where it changes, and that one has no name.
 *
 * Without a filter that names it avr-gcc 5.4 ends here with a segmentation
 * fault, while sdcc counts lines wrong from there on.
 */
typedef unsigned char byte;
#define F_CPU 16000000UL
#include <avr/io.h>
#include <avr/pgmspace.h>
#include <avr/wdt.h>
#include <stdlib.h>
#include <util/delay.h>

#define UBRR_OF(baud)   (F_CPU / 16 / (baud) - 1)
#define SHOW(port, bit) (port = (port & ~_BV(bit)) | (_BV(bit) & -(counted & 1)))

static const char label[] PROGMEM = "pulses ";
static unsigned counted;

static void put(byte c)
{
    loop_until_bit_is_set(UCSR0A, UDRE0);
    UDR0 = c;
}

int main(void)
{
    char digits[8], *d;
    const char *p;
    UBRR0 = UBRR_OF(9600);
    UCSR0B = _BV(TXEN0);
    DDRB = _BV(DDB5);
    TCCR1B = _BV(CS12) | _BV(CS11) | _BV(CS10);
    wdt_enable(WDTO_2S);
    for (;;) {
        wdt_reset();
        counted += TCNT1;
        TCNT1 = 0;
        SHOW(PORTB, PORTB5);
        for (p = label; pgm_read_byte(p); p++)
            put(pgm_read_byte(p));
        utoa(counted, digits, 10);
        for (d = digits; *d; d++)
            put(*d);
        _delay_ms(100);
    }
}
