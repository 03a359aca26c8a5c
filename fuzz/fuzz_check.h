// A property check of the fuzzers: a broken one stops the run with the
// failing condition, so libFuzzer keeps the input that broke it.
#pragma once

#include <cstdio>
#include <cstdlib>

#define FUZZ_CHECK(condition)                                                            \
  do {                                                                                   \
    if (!(condition)) {                                                                  \
      std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                      \
    }                                                                                    \
  } while (0)
