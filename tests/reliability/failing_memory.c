/* Preloaded into the program: makes one allocation fail, or every one from it on, and counts them. Only those count that
 * the program makes itself, from the beginning of its main; the tools that it starts are left alone. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <limits.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);

typedef int (*Main)(int, char**, char**);
typedef int (*Start)(Main, int, char**, void (*)(void), void (*)(void), void (*)(void), void*);

static Main programMain;
static const char* countFile;
static int isCounting;
static int lasts;
static long failing = LONG_MAX;
static long allocations;

static int fails(void) {
    if (!__atomic_load_n(&isCounting, __ATOMIC_ACQUIRE)) {
        return 0;
    }
    const long number = __atomic_add_fetch(&allocations, 1, __ATOMIC_RELAXED);
    if (number == failing || (lasts && number > failing)) {
        errno = ENOMEM;
        return 1;
    }
    return 0;
}

void* malloc(size_t size) {
    return fails() ? NULL : __libc_malloc(size);
}

void* calloc(size_t count, size_t size) {
    return fails() ? NULL : __libc_calloc(count, size);
}

void* realloc(void* block, size_t size) {
    return fails() ? NULL : __libc_realloc(block, size);
}

static void writeCount(void) {
    const long count = allocations;
    __atomic_store_n(&isCounting, 0, __ATOMIC_RELEASE);
    FILE* file = fopen(countFile, "w");
    if (file) {
        fprintf(file, "%ld\n", count);
        fclose(file);
    }
}

static int countedMain(int count, char** arguments, char** environment) {
    const char* number = getenv("FAILING_ALLOCATION"); /* "17", or "17+" for all from the 17th on */
    countFile = getenv("ALLOCATION_COUNT");
    unsetenv("LD_PRELOAD");
    if (number) {
        failing = atol(number);
        lasts = strchr(number, '+') != NULL;
    }
    if (countFile) {
        atexit(writeCount);
    }
    __atomic_store_n(&isCounting, 1, __ATOMIC_RELEASE);
    return programMain(count, arguments, environment);
}

int __libc_start_main(Main main, int count, char** arguments, void (*init)(void), void (*fini)(void),
                      void (*loaderFini)(void), void* stackEnd) {
    Start start;
    *(void**)&start = dlsym(RTLD_NEXT, "__libc_start_main");
    programMain = main;
    return start(countedMain, count, arguments, init, fini, loaderFini, stackEnd);
}
