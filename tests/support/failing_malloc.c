/*
 * failing_malloc.c - preloaded into a program, makes its n-th allocation fail; n comes from FAIL_AT. Where no
 * allocation failed, because there are fewer, it says so at the end by the file that FAIL_DONE names.
 */
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

void* __libc_malloc(size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_calloc(size_t num, size_t size);

static long calls = 0;

static int fails(void)
{
    const char* fail_at = getenv("FAIL_AT");
    return fail_at != NULL && ++calls == atol(fail_at);
}

void* malloc(size_t size) { return fails() ? NULL : __libc_malloc(size); }
void* realloc(void* block, size_t size) { return fails() ? NULL : __libc_realloc(block, size); }
void* calloc(size_t num, size_t size) { return fails() ? NULL : __libc_calloc(num, size); }

static void __attribute__((destructor)) report(void)
{
    const char* fail_at = getenv("FAIL_AT");
    const char* name = getenv("FAIL_DONE");
    if (fail_at != NULL && name != NULL && calls < atol(fail_at)) close(open(name, O_CREAT | O_WRONLY, 0600));
}
