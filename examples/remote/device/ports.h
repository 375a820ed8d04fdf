#define PORT(n) (16 + (n))
