#ifndef LAMP_H
#define LAMP_H
#define TICKS 250
int lamp(int n);
#endif
