#define PIN_LAMP PORT(5)
