#include "../device/ports.h"
