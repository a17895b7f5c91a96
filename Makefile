# The two commands of the README. Both install what they need first.
.PHONY: demo test deps build build-asan test-linux test-asan macos fuzz

JOBS ?= $(shell nproc)
# The macOS SDK `make macos` builds against; any SDK of macOS 11 or later works.
MACOS_SDK ?= ../shared/macos-sdk

deps:
	@scripts/install-deps

build: deps
	cmake --preset linux >/dev/null
	cmake --build --preset linux -j $(JOBS)

build-asan: deps
	cmake --preset linux-asan >/dev/null
	cmake --build --preset linux-asan -j $(JOBS)

# RELEASE=VERSION runs the session on that macOS release (default: the newest).
demo: build
	emu/fakemac/demo $(if $(RELEASE),--release $(RELEASE)) build/linux

test-linux: build
	ctest --preset linux -j $(JOBS)

test-asan: build-asan
	ctest --preset linux-asan -j $(JOBS)

test: test-linux test-asan

# Every fuzz target for FUZZ_SECONDS (default 600) from its starting corpus, in the
# sanitizer build; not part of `make test`, which runs their short, fixed runs.
FUZZ_SECONDS ?= 600
fuzz: build-asan
	FUZZ_SECONDS=$(FUZZ_SECONDS) tests/fuzz/run-fuzzers build/linux-asan

# The helper and machelperctl for macOS (x86_64 and arm64), cross-built with
# clang and ld64.lld, then checked; any warning fails it.
macos: deps
	MACOS_SDK="$(MACOS_SDK)" scripts/build-macos $(JOBS)
