// A library that is loaded before the others and takes a precaution away from each call that opens a file, so that the
// suite shows that it would see a layer without it. NERIO_CARELESS says which: "links" are followed, or opening "waits".

#include <dlfcn.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>

#include <cstdarg>
#include <cstdlib>
#include <string_view>

namespace {

bool Lacks(std::string_view precaution) {
  const char* const chosen = std::getenv("NERIO_CARELESS");
  return chosen != nullptr && chosen == precaution;
}

int Without(int flags) {
  if (Lacks("links")) flags &= ~O_NOFOLLOW;
  if (Lacks("waits")) flags &= ~O_NONBLOCK;
  return flags;
}

template <typename Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" int openat(int folder, const char* name, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return Real<int(int, const char*, int, ...)>("openat")(folder, name, Without(flags), mode);
}

// The layer calls nothing but openat2 by its number.
extern "C" long syscall(long number, ...) noexcept {
  va_list arguments;
  va_start(arguments, number);
  const int folder = va_arg(arguments, int);
  const char* const path = va_arg(arguments, const char*);
  const auto* const asked = va_arg(arguments, const open_how*);
  const auto size = va_arg(arguments, std::size_t);
  va_end(arguments);
  const auto real = Real<long(long, ...)>("syscall");
  if (number != SYS_openat2) return real(number, folder, path, asked, size);
  open_how how = *asked;
  how.flags = static_cast<std::uint64_t>(static_cast<unsigned>(Without(static_cast<int>(how.flags))));
  if (Lacks("links")) how.resolve = 0;
  return real(number, folder, path, &how, size);
}
