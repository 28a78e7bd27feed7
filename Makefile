# Entry points. Each sets the machine up (scripts/bootstrap), configures with
# the CMake presets and builds what it needs.
PRESET ?= dev

.PHONY: all demo test build bootstrap configure bench sanitize asan tsan fuzz memcheck clean docs

all: build

bootstrap:
	@scripts/bootstrap

configure: bootstrap
	@cmake --preset $(PRESET) >/dev/null

build: configure
	@cmake --build --preset $(PRESET)

demo: configure
	@cmake --build --preset $(PRESET) --target describe
	@build/$(PRESET)/examples/describe

test: build
	@ctest --preset $(PRESET)

bench:
	@scripts/bootstrap bench
	@cmake --preset release >/dev/null
	@cmake --build --preset release
	@for b in build/release/bench/bench_*; do echo "== $$b"; $$b; done

# The whole suite under AddressSanitizer + UndefinedBehaviorSanitizer, then
# the tests that run threads under ThreadSanitizer.
sanitize: asan tsan

asan: bootstrap
	@cmake --preset asan >/dev/null
	@cmake --build --preset asan
	@ctest --preset asan

TSAN_PROGRAMS = concurrency_test core_test cppmicroservices_test host_test
TSAN_TESTS = Concurren|Thread|OneStartedContext|WaitForStop
tsan: bootstrap
	@cmake --preset tsan >/dev/null
	@cmake --build --preset tsan --target $(TSAN_PROGRAMS)
	@ctest --preset tsan -R '$(TSAN_TESTS)'

# Each libFuzzer target for FUZZ_SECONDS, from its seed corpus.
FUZZ_SECONDS ?= 60
fuzz: bootstrap
	@cmake --preset fuzz >/dev/null
	@cmake --build --preset fuzz
	@scripts/fuzz build/fuzz $(FUZZ_SECONDS)

# The test programs of the default build under valgrind memcheck.
memcheck: build
	@scripts/bootstrap memcheck
	@scripts/memcheck build/$(PRESET)

docs:
	@scripts/bootstrap docs
	@cmake --preset $(PRESET) >/dev/null
	@cmake --build --preset $(PRESET) --target docs
	@echo "API reference: build/$(PRESET)/docs/html/index.html"

clean:
	@rm -rf build
