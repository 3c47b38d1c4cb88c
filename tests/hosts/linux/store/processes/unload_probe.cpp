// Loads a shared library, unloads it and forks: handlers that stayed would be called where no code is any more.
#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  for (int round = 0; round < 3; ++round) {
    void* const library = ::dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
      std::fprintf(stderr, "%s\n", ::dlerror());
      return 1;
    }
    if (::dlclose(library) != 0 || ::dlopen(argv[1], RTLD_NOW | RTLD_NOLOAD) != nullptr) {
      std::fputs("the library stays loaded\n", stderr);
      return 1;
    }
    const pid_t child = ::fork();
    if (child == 0) ::_exit(0);
    int status = 1;
    if (child < 0 || ::waitpid(child, &status, 0) != child || status != 0) return 1;
  }
  return 0;
}
