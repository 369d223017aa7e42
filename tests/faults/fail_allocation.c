/* Preloaded into a process, makes one allocation of a large block fail.

   QVL_FAIL_ALLOCATION=n makes the n-th allocation of QVL_FAIL_MIN_BYTES
   bytes or more (1024 unless given) return null; smaller ones and every
   other large one succeed. When that allocation is refused, one byte is
   appended to the file QVL_FAIL_REPORT, if given, so that a caller can
   tell a run that reached the failure from one that ended before it. */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

/* glibc's own allocator under its internal names: calling these needs no
   symbol lookup, which could itself allocate. */
extern void* __libc_malloc(size_t size);
extern void* __libc_calloc(size_t count, size_t size);
extern void* __libc_realloc(void* memory, size_t size);
extern void* __libc_memalign(size_t alignment, size_t size);

static long failAt = -2; /* -2: not read yet; 0: never fail */
static size_t minBytes = 1024;
static long largeCount = 0;

static long ReadNumber(const char* name, long fallback) {
  const char* text = getenv(name);
  if (!text || !*text) return fallback;
  return strtol(text, NULL, 10);
}

static void Report(void) {
  const char* path = getenv("QVL_FAIL_REPORT");
  if (!path || !*path) return;
  int file = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  if (file < 0) return;
  ssize_t written = write(file, "x", 1);
  (void)written;
  close(file);
}

/* Whether this allocation of `size` bytes is the one to refuse. */
static int Refuse(size_t size) {
  if (failAt == -2) {
    failAt = ReadNumber("QVL_FAIL_ALLOCATION", 0);
    minBytes = (size_t)ReadNumber("QVL_FAIL_MIN_BYTES", 1024);
  }
  if (failAt <= 0 || size < minBytes) return 0;
  if (++largeCount != failAt) return 0;
  Report();
  errno = ENOMEM;
  return 1;
}

void* malloc(size_t size) { return Refuse(size) ? NULL : __libc_malloc(size); }

void* calloc(size_t count, size_t size) {
  size_t total;
  if (!__builtin_mul_overflow(count, size, &total) && Refuse(total)) return NULL;
  return __libc_calloc(count, size);
}

void* realloc(void* memory, size_t size) { return Refuse(size) ? NULL : __libc_realloc(memory, size); }

void* memalign(size_t alignment, size_t size) { return Refuse(size) ? NULL : __libc_memalign(alignment, size); }

void* aligned_alloc(size_t alignment, size_t size) { return memalign(alignment, size); }

void* valloc(size_t size) { return memalign((size_t)sysconf(_SC_PAGESIZE), size); }

int posix_memalign(void** result, size_t alignment, size_t size) {
  if (alignment % sizeof(void*) != 0 || (alignment & (alignment - 1)) != 0) return EINVAL;
  void* memory = memalign(alignment, size);
  if (!memory) return ENOMEM;
  *result = memory;
  return 0;
}
