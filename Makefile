# Build entry points of velkow32. `make run` and `make test` are all a newcomer needs:
# missing build dependencies are installed through apt-get first.

SHELL := /bin/bash
MAKEFLAGS += --no-print-directory

BUILD_DIR      ?= build
ASAN_BUILD_DIR ?= build-asan
WERROR_DIR     ?= build-werror
FUZZ_BUILD_DIR ?= build-fuzz
FUZZ_SECONDS   ?= 60
FUZZ_TARGETS   ?=
JOBS           ?= $(shell nproc 2>/dev/null || echo 2)
CTEST_JOBS     ?= 2
TEST_TIMEOUT   ?= 300
VELKO_WERROR   ?= OFF

# What `make run` shows after building: the shipped drawing converted to DWG and to DXF
# (into the build directory) by velko, `velko info` of both results, and the drawing
# data/picture.dwg (the sample with a small plan drawn on it) rendered as a picture: SVG,
# and PNG through rsvg-convert.
VELKO       := $(BUILD_DIR)/velko
RUN_SAMPLE  ?= data/sample.dwg
RUN_DWG     := $(BUILD_DIR)/sample-converted.dwg
RUN_DXF     := $(BUILD_DIR)/sample-converted.dxf
RUN_PICTURE ?= data/picture.dwg
RUN_SVG     := $(BUILD_DIR)/picture.svg
RUN_PNG     := $(BUILD_DIR)/picture.png
RUN_CMD ?= $(VELKO) convert $(RUN_SAMPLE) $(RUN_DWG) && echo && \
           $(VELKO) convert $(RUN_SAMPLE) $(RUN_DXF) && echo && \
           $(VELKO) info $(RUN_DWG) && echo && \
           $(VELKO) info $(RUN_DXF) && echo && \
           $(VELKO) render $(RUN_PICTURE) $(RUN_SVG) --png $(RUN_PNG)

# Pass VELKO_CORPUS=/path/to/corpus to override the corpus directory.
CMAKE_EXTRA := $(if $(VELKO_CORPUS),-DVELKO_CORPUS=$(VELKO_CORPUS),)

# Root installs directly; otherwise through sudo when it exists.
SUDO := $(shell if [ "$$(id -u)" != 0 ] && command -v sudo >/dev/null 2>&1; then echo sudo; fi)

FORMAT_DIRS := include src tools tests bench fuzz

.PHONY: all deps fuzz-deps build run test asan werror fuzz format format-check clean

all: build

deps:
	@missing=""; \
	command -v cmake >/dev/null 2>&1        || missing="$$missing cmake"; \
	command -v g++ >/dev/null 2>&1          || missing="$$missing g++"; \
	command -v make >/dev/null 2>&1         || missing="$$missing make"; \
	[ -f /usr/include/gtest/gtest.h ]       || missing="$$missing libgtest-dev"; \
	[ -f /usr/include/freetype2/ft2build.h ] || missing="$$missing libfreetype-dev"; \
	[ -f /usr/share/fonts/truetype/dejavu/DejaVuSans.ttf ] || missing="$$missing fonts-dejavu-core"; \
	command -v pkg-config >/dev/null 2>&1   || missing="$$missing pkg-config"; \
	command -v clang-format >/dev/null 2>&1 || missing="$$missing clang-format"; \
	command -v python3 >/dev/null 2>&1      || missing="$$missing python3"; \
	/usr/bin/python3 -c 'import ezdxf' >/dev/null 2>&1 || missing="$$missing python3-ezdxf"; \
	[ -f /usr/include/dxflib/dl_dxf.h ]     || missing="$$missing libdxflib-dev"; \
	/usr/bin/python3 -c 'import pytest' >/dev/null 2>&1 || missing="$$missing python3-pytest"; \
	/usr/bin/python3 -c 'import ensurepip' >/dev/null 2>&1 || missing="$$missing python3-venv"; \
	/usr/bin/python3 -c 'import dask.bag' >/dev/null 2>&1 || missing="$$missing python3-dask"; \
	command -v rsvg-convert >/dev/null 2>&1 || missing="$$missing librsvg2-bin"; \
	if [ -n "$$missing" ]; then \
	    echo "deps: installing missing packages:$$missing"; \
	    $(SUDO) env DEBIAN_FRONTEND=noninteractive apt-get update -q && \
	    $(SUDO) env DEBIAN_FRONTEND=noninteractive apt-get install -y -q \
	        --no-install-recommends $$missing; \
	fi

build: deps
	cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_EXTRA)
	cmake --build $(BUILD_DIR) -j$(JOBS)

run: build
	$(RUN_CMD)

test: build
	cd $(BUILD_DIR) && ctest --output-on-failure -j$(CTEST_JOBS) --timeout $(TEST_TIMEOUT)

# Sanitizer build: AddressSanitizer + UndefinedBehaviorSanitizer, Debug at -O1.
# `make asan VELKO_WERROR=ON` also treats warnings as errors.
ASAN_ENV := ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
            UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1

asan: deps
	cmake -S . -B $(ASAN_BUILD_DIR) -DCMAKE_BUILD_TYPE=Debug \
	    "-DCMAKE_C_FLAGS_DEBUG=-g -O1" "-DCMAKE_CXX_FLAGS_DEBUG=-g -O1" \
	    -DVELKO_SANITIZE=ON -DVELKO_WERROR=$(VELKO_WERROR) -DVELKO_BUILD_BENCH=OFF $(CMAKE_EXTRA)
	$(ASAN_ENV) cmake --build $(ASAN_BUILD_DIR) -j$(JOBS)
	cd $(ASAN_BUILD_DIR) && $(ASAN_ENV) ctest --output-on-failure -j$(CTEST_JOBS) --timeout $(TEST_TIMEOUT)

# The fuzzers (clang, libFuzzer, ASan+UBSan): `make fuzz FUZZ_SECONDS=1800` builds them and
# runs each for that long, two at a time on two processors; FUZZ_TARGETS="dwg12 shx" runs
# some. A finding is kept in fuzz/regressions/TARGET/ and fails the run. See fuzz/run.sh.
fuzz-deps: deps
	@missing=""; \
	command -v clang++ >/dev/null 2>&1 || missing="$$missing clang"; \
	ls /usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a >/dev/null 2>&1 || \
	    missing="$$missing libclang-rt-dev"; \
	if [ -n "$$missing" ]; then \
	    echo "fuzz-deps: installing missing packages:$$missing"; \
	    $(SUDO) env DEBIAN_FRONTEND=noninteractive apt-get update -q && \
	    $(SUDO) env DEBIAN_FRONTEND=noninteractive apt-get install -y -q \
	        --no-install-recommends $$missing; \
	fi

fuzz: fuzz-deps
	CC=clang CXX=clang++ cmake -S . -B $(FUZZ_BUILD_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	    -DVELKO_FUZZ=ON -DVELKO_WERROR=$(VELKO_WERROR) -DVELKO_BUILD_TESTS=OFF \
	    -DVELKO_BUILD_BENCH=OFF $(CMAKE_EXTRA)
	cmake --build $(FUZZ_BUILD_DIR) -j$(JOBS)
	$(if $(VELKO_CORPUS),VELKO_CORPUS=$(VELKO_CORPUS)) fuzz/run.sh $(FUZZ_BUILD_DIR) $(FUZZ_SECONDS) $(FUZZ_TARGETS)

# Warnings-as-errors build without sanitizers.
werror: deps
	cmake -S . -B $(WERROR_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELKO_WERROR=ON $(CMAKE_EXTRA)
	cmake --build $(WERROR_DIR) -j$(JOBS)

# All C/C++ sources of the project (none of the build directories).
FORMAT_FILES = $(shell find $(wildcard $(FORMAT_DIRS)) -type f \
                   \( -name '*.cpp' -o -name '*.h' -o -name '*.c' -o -name '*.hpp' \) 2>/dev/null | sort)

format: deps
	@files="$(FORMAT_FILES)"; \
	if [ -n "$$files" ]; then clang-format -i $$files; fi

format-check: deps
	@files="$(FORMAT_FILES)"; \
	if [ -n "$$files" ]; then \
	    clang-format --dry-run --Werror $$files && echo "format-check: OK"; \
	else echo "format-check: no sources"; fi

clean:
	rm -rf $(BUILD_DIR) $(ASAN_BUILD_DIR) $(WERROR_DIR) $(FUZZ_BUILD_DIR)
