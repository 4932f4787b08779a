// SPDX-License-Identifier: GPL-3.0-or-later
//
// Freezes as the program does, in a process whose time and memory a benchmark
// measures: FOLDER, then SOURCES and their COUNT, as often as there are. Each freeze
// starts at a line on standard input; lines on standard output tell that it is ready,
// and that a freeze is done.
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "bench/Freezer.h"

int main(int count, char** words) {
  try {
    vaultmere::bench::Freezer freezer(words[1]);
    for (int i = 2;; i += 2) {
      std::puts("ready");
      std::fflush(stdout);
      while (const int character = std::getchar()) {
        if (character == EOF) {
          return 0;
        }
        if (character == '\n') {
          break;
        }
      }
      if (i + 1 < count) {
        freezer.freeze(words[i], std::strtoul(words[i + 1], nullptr, 10));
      }
    }
  } catch (const std::exception& error) {
    static_cast<void>(std::fprintf(stderr, "%s\n", error.what()));
    return 1;
  }
}
