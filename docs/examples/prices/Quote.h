/* A price, and the description by which halyx prints it: the program is compiled with this file, the tool reads it. */
#include <stdint.h>

struct Quote {
    char symbol[8];
    double price;
    uint32_t volume;
    uint32_t changes;
};
