/* Blinks a lamp and reports every change on the serial port. */
#include <registers.h>
#include <bits.h>
#include "board.h"

#define TICKS_PER_SECOND  250
#define HALF_PERIOD(hz)   (TICKS_PER_SECOND / (2 * (hz)))

#if HALF_PERIOD(LAMP_HZ) == 0
#error LAMP_HZ is too high for the tick
#endif

#ifdef TRACE
#define TRACE_LAMP(on)    trace(TEXT(LAMP_NAME) " on line " TEXT(__LINE__), on)
#else
#define TRACE_LAMP(on)
#endif

static unsigned char ticks;

static void lamp_toggle(void)
{
    TOGGLE(LAMP);
    TRACE_LAMP(IS_SET(LAMP));
}

void interrupt_timer(void)
{
    if (++ticks == HALF_PERIOD(LAMP_HZ)) {
        ticks = 0;
        lamp_toggle();
    }
}

void main(void)
{
    MAKE_OUTPUT(LAMP);
#if BOARD_HAS(SERIAL)
    SERIAL_CONTROL = SERIAL_DIVIDER(BAUD_RATE) | FIELD(SERIAL_MODE, 3);
#endif
    TIMER_CONTROL = TIMER_START | FIELD(TIMER_SCALE, 6);
    for (;;)
        SLEEP();
}
