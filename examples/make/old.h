#define OLD 0
