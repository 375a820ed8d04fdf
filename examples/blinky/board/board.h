/* What differs from board to board; the driver chooses with -DBOARD=n. */
#ifndef BOARD_H
#define BOARD_H

#define BOARD_HAS_SERIAL  1
#define BOARD_HAS(part)   BOARD_HAS_##part

#if BOARD == 2
#define LAMP_LETTER       B
#define LAMP_BIT          5
#define LAMP_NAME         green
#define CLOCK_HZ          16000000
#elif BOARD == 1
#define LAMP_LETTER       D
#define LAMP_BIT          2
#define LAMP_NAME         red
#define CLOCK_HZ          8000000
#else
#error BOARD must be 1 or 2
#endif

#ifndef LAMP_HZ
#define LAMP_HZ           2
#endif
#define BAUD_RATE         9600

#endif
