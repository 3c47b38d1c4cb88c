// A library to be loaded before a program: of the program's system calls, or allocations, the n-th fails.
//
//   NERIO_FAILING_CALL="N ERRNO"    the N-th call answers the error ERRNO, which is the system's number
//   NERIO_FAILING_CALL="N interrupt" the N-th call that a signal may interrupt is interrupted
//   NERIO_FAILING_CALL="N short"    the N-th reading or writing handles half of what it was asked to
//   NERIO_FAILING_CALL="N memory"   the N-th allocation gets nothing
//   NERIO_FAILED_CALL=FILE          receives the name of the call that failed; the number of calls when N is 0
//
// It declares the C library's functions itself, as plain as the linker sees them: their headers have attributes, macros and
// exception specifications that a definition would have to repeat. Calls on standard error are left alone, so that the program
// can say what happened.
#include <dlfcn.h>

#include <cerrno>
#include <cstddef>

using Size = std::size_t;
using SignedSize = std::ptrdiff_t;

extern "C" {
char* getenv(const char* name);
long strtol(const char* text, char** end, int base);
Size strlen(const char* text);
int strcmp(const char* left, const char* right);
}

namespace {

enum class Fault { kNone, kError, kInterrupt, kShort, kMemory };

struct Plan {
  Fault fault = Fault::kNone;
  long call = 0;
  int error = 0;
};

Plan ReadPlan() {
  const char* const text = getenv("NERIO_FAILING_CALL");
  if (text == nullptr) return {};
  Plan plan;
  char* rest = nullptr;
  plan.call = strtol(text, &rest, 10);
  while (*rest == ' ') ++rest;
  plan.fault = Fault::kError;
  if (strcmp(rest, "interrupt") == 0) plan.fault = Fault::kInterrupt;
  if (strcmp(rest, "short") == 0) plan.fault = Fault::kShort;
  if (strcmp(rest, "memory") == 0) plan.fault = Fault::kMemory;
  plan.error = plan.fault == Fault::kInterrupt ? EINTR : ENOMEM;
  if (plan.fault == Fault::kError) plan.error = static_cast<int>(strtol(rest, nullptr, 10));
  return plan;
}

// The function of this name that the program would call without this library.
template <typename Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

void Report(const char* name) {
  const char* const file = getenv("NERIO_FAILED_CALL");
  if (file == nullptr) return;
  constexpr int kWriteOnly = 1;
  const int descriptor = Next<int(const char*, int, ...)>("open")(file, kWriteOnly);
  Next<SignedSize(int, const void*, Size)>("write")(descriptor, name, strlen(name));
  Next<int(int)>("close")(descriptor);
}

// Counts the calls that could fail, and tells which of them does.
class Calls {
 public:
  Calls() : plan_(ReadPlan()) {}
  ~Calls() {
    if (plan_.fault == Fault::kNone || plan_.call != 0) return;
    char digits[24];
    char* first = digits + sizeof digits;
    *--first = '\0';
    for (long rest = made_; rest != 0 || *first == '\0'; rest /= 10) *--first = static_cast<char>('0' + rest % 10);
    Report(first);
  }
  Calls(const Calls&) = delete;
  Calls& operator=(const Calls&) = delete;

  bool Fails(Fault kind, const char* name) {
    if (plan_.fault != kind || ++made_ != plan_.call) return false;
    Report(name);
    errno = plan_.error;
    return true;
  }

 private:
  Plan plan_;
  long made_ = 0;
};

// Whether this is the call that fails; errno is set then.
bool Fails(Fault kind, const char* name) {
  static Calls calls;
  return calls.Fails(kind, name);
}

constexpr int kStandardError = 2;

// What is left of `count` bytes to read or to write.
Size Shortened(int descriptor, Size count, const char* name) {
  return descriptor != kStandardError && count > 1 && Fails(Fault::kShort, name) ? count / 2 : count;
}

}  // namespace

// A function that answers `refusal` when its call is the one that fails.
#define FAILING(result, name, refusal, parameters, arguments) \
  extern "C" result name parameters {                         \
    if (Fails(Fault::kError, #name)) return refusal;          \
    return Next<result parameters>(#name) arguments;          \
  }                                                           \
  static_assert(true)

// One that a signal may interrupt.
#define INTERRUPTIBLE(result, name, refusal, parameters, arguments)                     \
  extern "C" result name parameters {                                                   \
    if (Fails(Fault::kError, #name) || Fails(Fault::kInterrupt, #name)) return refusal; \
    return Next<result parameters>(#name) arguments;                                    \
  }                                                                                     \
  static_assert(true)

FAILING(int, access, -1, (const char* path, int mode), (path, mode));
FAILING(int, faccessat, -1, (int folder, const char* path, int mode, int flags), (folder, path, mode, flags));
FAILING(int, fchmod, -1, (int file, unsigned mode), (file, mode));
FAILING(int, fchmodat, -1, (int folder, const char* path, unsigned mode, int flags), (folder, path, mode, flags));
FAILING(int, fchown, -1, (int file, unsigned user, unsigned group), (file, user, group));
INTERRUPTIBLE(int, fcntl, -1, (int file, int command, long argument), (file, command, argument));
INTERRUPTIBLE(int, fdatasync, -1, (int file), (file));
FAILING(void*, fdopendir, nullptr, (int folder), (folder));
FAILING(int, fstat, -1, (int file, void* state), (file, state));
FAILING(int, fstatat, -1, (int folder, const char* path, void* state, int flags), (folder, path, state, flags));
INTERRUPTIBLE(int, fstatfs, -1, (int file, void* state), (file, state));
INTERRUPTIBLE(int, fstatvfs, -1, (int file, void* state), (file, state));
INTERRUPTIBLE(int, fsync, -1, (int file), (file));
FAILING(int, link, -1, (const char* from, const char* to), (from, to));
FAILING(long, lseek, -1, (int file, long offset, int whence), (file, offset, whence));
FAILING(int, lstat, -1, (const char* path, void* state), (path, state));
FAILING(int, mkdirat, -1, (int folder, const char* path, unsigned mode), (folder, path, mode));
INTERRUPTIBLE(int, mkostemp, -1, (char* pattern, int flags), (pattern, flags));
INTERRUPTIBLE(int, open, -1, (const char* path, int flags, unsigned mode), (path, flags, mode));
INTERRUPTIBLE(int, openat, -1, (int folder, const char* path, int flags, unsigned mode), (folder, path, flags, mode));
FAILING(void*, readdir, nullptr, (void* folder), (folder));
FAILING(char*, realpath, nullptr, (const char* path, char* resolved), (path, resolved));
FAILING(int, rename, -1, (const char* from, const char* to), (from, to));
FAILING(int, renameat, -1, (int from, const char* old, int to, const char* now), (from, old, to, now));
FAILING(int, renameat2, -1, (int from, const char* old, int to, const char* now, unsigned flags),
        (from, old, to, now, flags));
FAILING(int, stat, -1, (const char* path, void* state), (path, state));
FAILING(int, statx, -1, (int folder, const char* path, int flags, unsigned mask, void* state),
        (folder, path, flags, mask, state));
FAILING(int, syncfs, -1, (int file), (file));
FAILING(long, syscall, -1, (long number, long a, long b, long c, long d, long e, long f), (number, a, b, c, d, e, f));
FAILING(int, unlink, -1, (const char* path), (path));
FAILING(int, unlinkat, -1, (int folder, const char* path, int flags), (folder, path, flags));

// One that reads or writes may also handle less than it was asked to.
#define FAILING_TRANSFER(name, parameters, arguments)                                                          \
  extern "C" SignedSize name parameters {                                                                      \
    if (file != kStandardError && (Fails(Fault::kError, #name) || Fails(Fault::kInterrupt, #name))) return -1; \
    count = Shortened(file, count, #name);                                                                     \
    return Next<SignedSize parameters>(#name) arguments;                                                       \
  }                                                                                                            \
  static_assert(true)

FAILING_TRANSFER(read, (int file, void* bytes, Size count), (file, bytes, count));
FAILING_TRANSFER(write, (int file, const void* bytes, Size count), (file, bytes, count));
FAILING_TRANSFER(pread, (int file, void* bytes, Size count, long offset), (file, bytes, count, offset));
FAILING_TRANSFER(pwrite, (int file, const void* bytes, Size count, long offset), (file, bytes, count, offset));

extern "C" SignedSize getrandom(void* bytes, Size count, unsigned flags) {
  if (Fails(Fault::kError, "getrandom") || Fails(Fault::kInterrupt, "getrandom")) return -1;
  return Next<SignedSize(void*, Size, unsigned)>("getrandom")(bytes, Shortened(-1, count, "getrandom"), flags);
}

// The C library's own name for it: what dlsym allocates must not come back here.
extern "C" void* __libc_malloc(Size size);  // NOLINT(bugprone-reserved-identifier)

extern "C" void* malloc(Size size) { return Fails(Fault::kMemory, "malloc") ? nullptr : __libc_malloc(size); }
