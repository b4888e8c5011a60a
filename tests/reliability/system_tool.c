/* Stands in for a tool of the system in what the harness runs: succeeds, or refuses when the argument REFUSED_ARGUMENT
 * holds REFUSED. Linked statically, as a run starts four of them and loading a shell would take longer than all the rest. */
#include <string.h>
#include <unistd.h>

#ifndef REFUSED
#define REFUSED_ARGUMENT 0
#define REFUSED ""
#define REFUSAL ""
#endif

int main(int count, char** arguments) {
    if (!*REFUSED || count <= REFUSED_ARGUMENT || !strstr(arguments[REFUSED_ARGUMENT], REFUSED)) {
        return 0;
    }
    return write(STDERR_FILENO, REFUSAL, strlen(REFUSAL)) < 0 ? 2 : 1;
}
