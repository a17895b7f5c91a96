# The two commands of the README. Both install what they need first.
.PHONY: demo test deps build build-asan test-linux test-asan

JOBS ?= $(shell nproc)

deps:
	@scripts/install-deps

build: deps
	cmake --preset linux >/dev/null
	cmake --build --preset linux -j $(JOBS)

build-asan: deps
	cmake --preset linux-asan >/dev/null
	cmake --build --preset linux-asan -j $(JOBS)

demo: build
	emu/fakemac/demo build/linux

test-linux: build
	ctest --preset linux -j $(JOBS)

test-asan: build-asan
	ctest --preset linux-asan -j $(JOBS)

test: test-linux test-asan
