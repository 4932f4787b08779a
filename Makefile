# SPDX-License-Identifier: GPL-3.0-or-later
# Short names for what developers do often; `make` alone lists them.
SHELL := /bin/bash
JOBS ?= $(shell nproc)
# Tests flush thousands of small files: in memory that costs nothing.
TEST_TMPDIR ?= $(firstword $(wildcard /dev/shm) /tmp)
export JOBS TEST_TMPDIR

.PHONY: help packages build test demo bench fuzz-media asan tsan lint clean

help:
	@echo "make build   the program, at build/vaultmere, and its tests"
	@echo "make test    builds everything and runs the tests"
	@echo "make demo    freezes a folder of sample media; make demo DIR=folder takes yours"
	@echo "make bench   the benchmarks, each with its reference"
	@echo "make fuzz-media  freezes damaged files of each format; COUNT=300 of each"
	@echo "make asan    the tests under the address and undefined-behaviour sanitizers"
	@echo "make tsan    the tests under the thread sanitizer"
	@echo "make lint    formatting and static analysis"

packages:
	@scripts/install-packages.sh program tests development

build: packages
	cmake --preset release
	cmake --build --preset release -j $(JOBS)

test:
	@scripts/test.sh

demo:
	@scripts/demo.sh $(if $(DIR),"$(DIR)")

bench: packages
	@scripts/install-packages.sh bench
	cmake --preset bench
	cmake --build --preset bench -j $(JOBS)
	@scripts/bench.sh

fuzz-media: packages
	cmake --preset release
	cmake --build --preset release -j $(JOBS) --target fuzz_media_freeze
	TMPDIR=$(TEST_TMPDIR) build/fuzz/fuzz_media_freeze $(or $(COUNT),300)

asan: packages
	cmake --preset asan
	cmake --build --preset asan -j $(JOBS)
	TMPDIR=$(TEST_TMPDIR) UBSAN_OPTIONS=print_stacktrace=1 LSAN_OPTIONS=suppressions=$(CURDIR)/cmake/lsan.supp \
	  ctest --preset asan -j $(JOBS)

tsan: packages
	cmake --preset tsan
	cmake --build --preset tsan -j $(JOBS)
	TMPDIR=$(TEST_TMPDIR) TSAN_OPTIONS="suppressions=$(CURDIR)/cmake/tsan.supp die_after_fork=0 ignore_noninstrumented_modules=1" \
	  ctest --preset tsan -j $(JOBS)

lint: build
	@scripts/lint.sh

clean:
	rm -rf build build-*
