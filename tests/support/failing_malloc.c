/*
 * failing_malloc.c - preloaded into a program, makes its n-th allocation fail; n comes from FAIL_AT. A process that is
 * forked counts on from where its parent was, so that one may fail in each. Where one has failed, it says so by the
 * file that FAIL_MARK names.
 *
 * Counting starts with the program's own start. What the libraries that it is linked with do before that is theirs:
 * one of them crashes when it finds no memory then.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

void* __libc_malloc(size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_calloc(size_t num, size_t size);

static const char* fail_at = NULL;
static long calls = 0;

static int fails(void)
{
    if (fail_at == NULL || ++calls != atol(fail_at)) return 0;
    close(open(getenv("FAIL_MARK"), O_CREAT | O_WRONLY, 0600));
    return 1;
}

void* malloc(size_t size) { return fails() ? NULL : __libc_malloc(size); }
void* realloc(void* block, size_t size) { return fails() ? NULL : __libc_realloc(block, size); }
void* calloc(size_t num, size_t size) { return fails() ? NULL : __libc_calloc(num, size); }

typedef int main_function(int, char**, char**);
typedef void end_function(void);
typedef int start_function(main_function*, int, char**, end_function*, end_function*, end_function*, void*);

int __libc_start_main(main_function* program, int argc, char** argv, end_function* init, end_function* fini,
                      end_function* loader_fini, void* stack_end)
{
    start_function* start = (start_function*)dlsym(RTLD_NEXT, "__libc_start_main");
    fail_at = getenv("FAIL_AT");
    return start(program, argc, argv, init, fini, loader_fini, stack_end);
}
