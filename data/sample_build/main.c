#include "greeting.h"

int main(int argc, char **argv) {
    greet(argc > 1 ? argv[1] : "whoever you are");
    return 0;
}
