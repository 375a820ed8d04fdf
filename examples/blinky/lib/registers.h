/* Registers of the device, as memory cells. */
#ifndef REGISTERS_H
#define REGISTERS_H

#define REGISTER(address)       (*(volatile unsigned char *)(address))
#define PORT_BASE(n)            (0x20 + 3 * (n))

#define DIRECTION_B             REGISTER(PORT_BASE(1) + 1)
#define PORT_B                  REGISTER(PORT_BASE(1) + 2)
#define DIRECTION_D             REGISTER(PORT_BASE(3) + 1)
#define PORT_D                  REGISTER(PORT_BASE(3) + 2)

#define TIMER_CONTROL           REGISTER(0x45)
#define TIMER_START             0x80
#define TIMER_SCALE_SHIFT       0
#define TIMER_SCALE_WIDTH       3

#define SERIAL_CONTROL          (*(volatile unsigned int *)0xC4)
#define SERIAL_MODE_SHIFT       12
#define SERIAL_MODE_WIDTH       2
#define SERIAL_DIVIDER(baud)    (CLOCK_HZ / 16 / (baud) - 1)

#if defined(__SLEEP_OPCODE)
#define SLEEP()                 __asm__(__SLEEP_OPCODE)
#else
#define SLEEP()                 ((void)0)
#endif

#endif
