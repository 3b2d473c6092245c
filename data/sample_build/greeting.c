#include "greeting.h"

#include <stdio.h>

void greet(const char *name) { printf("%s, %s.\n", GREETING, name); }
