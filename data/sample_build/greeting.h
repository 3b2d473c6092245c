/* greeting.h - what the sample program says. */
#ifndef GREETING_H
#define GREETING_H

#define GREETING "Good morning"

void greet(const char *name);

#endif
