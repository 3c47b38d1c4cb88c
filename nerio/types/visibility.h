#pragma once

/// Marks what the shared library shows to others: the public functions and classes. Whatever does not say so is hidden
/// in it. A class says so as a whole: programs derive from it, or catch it, and the class is the same one on both sides
/// only when its type data is seen.
#ifdef __ELF__
#define NERIO_PUBLIC __attribute__((visibility("default")))
#else
#define NERIO_PUBLIC
#endif
