// A check that ends the run, so that the fuzzer keeps the input.
#pragma once

#include <cstdio>
#include <cstdlib>

#define CHECK(condition)                                                               \
  do {                                                                                 \
    if (condition) break;                                                              \
    std::fprintf(stderr, "%s:%d does not hold: %s\n", __FILE__, __LINE__, #condition); \
    std::abort();                                                                      \
  } while (false)
