/* host ROLE MODULE: the least that a player does for libzul.so, as a start for one of your own.
 *
 * ROLE T reads a transport stream from standard input, ROLE R one PAT or PMT section after the other, each from its
 * table_id on. The module serves its master until this process ends, which is at the end of the input.
 *
 *     cc host.c -o host $(pkg-config --cflags zul) -ldl
 *     ./host T "$(pkg-config --variable=module zul)" <broadcast.ts
 *
 * Around the module a board has a settings agent, as in agent.c, a system daemon and, on a receiver, more: zul-board
 * plays them all on a workstation. Zul_Start_Filter waits until the agent answers.
 */
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

#include <zul.h>

enum {
    kPacket = 188,
    kPackets = 174, /* in one buffer; a stream's datagrams leave together at its end */
    kSectionHead = 3,
    kMaxSection = kSectionHead + 4093
};

static __typeof__(Zul_Start_Filter)* start;
static __typeof__(Zul_Filter)* filter;

/* Copies the address of a symbol to `function`: ISO C turns no object's address into a function's. */
static int find(void* module, const char* name, void* function) {
    void* const address = dlsym(module, name);
    if (address == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        return 0;
    }
    memcpy(function, &address, sizeof address);
    return 1;
}

static int load(const char* path) {
    void* const module = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (module == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        return 0;
    }
    return find(module, "Zul_Start_Filter", &start) && find(module, "Zul_Filter", &filter);
}

/* As a tuner delivers it, in real time: what is read from a file comes as fast as the module takes it. */
static void feed_stream(void) {
    static unsigned char buffer[kPackets * kPacket];
    size_t size;
    while ((size = fread(buffer, 1, sizeof buffer, stdin)) > 0) filter(buffer, (unsigned int)size);
}

static void feed_sections(void) {
    static unsigned char section[kMaxSection];
    while (fread(section, 1, kSectionHead, stdin) == kSectionHead) {
        /* section_length, 12 bits (ISO/IEC 13818-1, 2.4.4), counts the bytes after it. */
        const size_t length = (size_t)(section[1] & 0x0F) << 8 | section[2];
        if (length > kMaxSection - kSectionHead) return;
        if (fread(section + kSectionHead, 1, length, stdin) != length) return;
        filter(section, (unsigned int)(kSectionHead + length));
    }
}

int main(int argc, char** argv) {
    if (argc != 3 || strlen(argv[1]) != 1 || strchr("TRA", argv[1][0]) == NULL) {
        fprintf(stderr, "usage: host T|R|A MODULE (A: a transmitter's role from the board's version)\n");
        return 2;
    }
    if (!load(argv[2])) return 1;
    start(argv[1][0]); /* returns while the module boots on threads of its own */
    if (argv[1][0] == 'R') {
        feed_sections();
    } else {
        feed_stream();
    }
    return 0;
}
