/*
 * A serial echo with a running light, on an 8051:
 *
 *   - interrupts
 *   - bit registers
 *   - memory classes
 *
 * Ten lines of comment and a declaration ahead of all
 * else, for the reason that real-avr.c gives.
 */
typedef unsigned char byte;
#include <8051.h>
#include <string.h>

#define CLOCK_HZ        11059200UL
#define BAUD            9600
#define TIMER1_RELOAD   (256 - CLOCK_HZ / 12 / 32 / BAUD)
#define QUEUE_SIZE      (1 << QUEUE_BITS)
#define QUEUE_BITS      4
#define NEXT(i)         (((i) + 1) & (QUEUE_SIZE - 1))
#define PASTE(a, b)     a##b
#define PIN(port, bit)  PASTE(port##_, bit)
#define LAMP            PIN(P1, 0)

#if TIMER1_RELOAD < 1 || TIMER1_RELOAD > 255
#error The serial clock is out of reach
#endif

static volatile __xdata char queue[QUEUE_SIZE];
static volatile byte head, tail;
static __code const char greeting[] = "ready\r\n";

void serial_arrived(void) __interrupt(SI0_VECTOR)
{
    if (RI) {
        RI = 0;
        if (NEXT(head) != tail) {
            queue[head] = SBUF;
            head = NEXT(head);
        }
    }
}

static void put(char c)
{
    SBUF = c;
    while (!TI)
        ;
    TI = 0;
    LAMP = !LAMP;
}

void main(void)
{
    byte i;
    TMOD = T1_M1;
    TH1 = (byte)TIMER1_RELOAD;
    TR1 = 1;
    SCON = 0x50;
    IE = 0x90;
    for (i = 0; i < strlen(greeting); i++)
        put(greeting[i]);
    for (;;)
        while (tail != head) {
            put(queue[tail]);
            tail = NEXT(tail);
        }
}
