# The commands of the README. Each one installs what it needs first (scripts/bootstrap.sh),
# so they work on a fresh Debian 12 machine from a clean clone.

JOBS     ?= $(shell nproc 2>/dev/null || echo 2)
BUILD    ?= build
CMAKE_FLAGS ?=
# Optional package groups of scripts/bootstrap.sh that a command adds (make test: the Python module's).
BOOTSTRAP_GROUPS ?=

.PHONY: all configure build test demo python bench sanitize fuzz newcomer-check clean

all: build

configure:
	@sh scripts/bootstrap.sh $(BOOTSTRAP_GROUPS)
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release -DQSSSE_WERROR=ON $(CMAKE_FLAGS)

build: configure
	cmake --build $(BUILD) -j $(JOBS)

# The Python module's pytest suite runs among the ctest tests when pybind11, NumPy and pytest are there.
test: BOOTSTRAP_GROUPS = python
test: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

# Only what the demo runs: the library, the I/O library and the program (the test suites are left to
# `make test`, which builds the rest in the same build directory).
demo: configure
	cmake --build $(BUILD) -j $(JOBS) --target qssse_tool
	./$(BUILD)/tools/qssse demo --out out

# The Python module qssse alone, into $(BUILD)/python (PYTHONPATH=$(BUILD)/python /usr/bin/python3).
python: BOOTSTRAP_GROUPS = python
python: configure
	cmake --build $(BUILD) -j $(JOBS) --target python

bench:
	@sh scripts/bootstrap.sh bench python
	cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DQSSSE_BUILD_BENCH=ON -DQSSSE_BUILD_TESTS=OFF $(CMAKE_FLAGS)
	cmake --build build-bench -j $(JOBS)
	sh scripts/run-benchmarks.sh build-bench

# ASan+UBSan over every suite, then TSan over the suites labelled "threads".
sanitize:
	@sh scripts/bootstrap.sh sanitize
	cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQSSSE_SANITIZE=address,undefined $(CMAKE_FLAGS)
	cmake --build build-asan -j $(JOBS)
	cd build-asan && ctest --output-on-failure --no-tests=error -j $(JOBS) -LE install
	cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQSSSE_SANITIZE=thread $(CMAKE_FLAGS)
	cmake --build build-tsan -j $(JOBS)
	cd build-tsan && ctest --output-on-failure --no-tests=error -j $(JOBS) -L threads

FUZZ_SECONDS ?= 60
FUZZ_JOBS    ?= 2
fuzz:
	@sh scripts/bootstrap.sh fuzz
	CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQSSSE_BUILD_FUZZ=ON -DQSSSE_BUILD_TESTS=OFF -DQSSSE_BUILD_TOOLS=OFF $(CMAKE_FLAGS)
	cmake --build build-fuzz -j $(JOBS)
	sh scripts/run-fuzzers.sh build-fuzz $(FUZZ_SECONDS) $(FUZZ_JOBS)

# Not part of CI: clones this repository into a minimal Debian 12 chroot and runs make demo and
# make test there, as a newcomer would.
newcomer-check:
	sh scripts/newcomer-check.sh

clean:
	rm -rf build build-bench build-asan build-tsan build-fuzz out
