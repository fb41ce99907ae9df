/* memory_host MODULE: a host that waits for a byte on its standard input before it loads the module, and before it
 * starts it as a transmitter, and then gives it host buffers from there. It writes a byte after each step. For
 * memory_bench. */
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "zul.h"

static unsigned char buffer[174 * 188];

static void step_done(void) {
    if (write(STDOUT_FILENO, ".", 1) != 1) _exit(1);
}

/* Ends the process at the end of the input. */
static void await(size_t size) {
    for (size_t got = 0; got < size;) {
        const ssize_t more = read(STDIN_FILENO, buffer + got, size - got);
        if (more <= 0) _exit(0);
        got += (size_t)more;
    }
}

static void* find(void* module, const char* name) {
    void* const symbol = dlsym(module, name);
    if (symbol == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        _exit(1);
    }
    return symbol;
}

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    await(1);
    void* const module = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    void* symbol = find(module, "Zul_Start_Filter");
    __typeof__(Zul_Start_Filter)* start;
    memcpy(&start, &symbol, sizeof start);
    symbol = find(module, "Zul_Filter");
    __typeof__(Zul_Filter)* filter;
    memcpy(&filter, &symbol, sizeof filter);
    step_done();
    await(1);
    start('T');
    for (;;) {
        step_done();
        await(sizeof buffer);
        filter(buffer, sizeof buffer);
    }
}
