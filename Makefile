# Entry points. Each sets the machine up (scripts/bootstrap), configures with
# the CMake presets and builds what it needs.
PRESET ?= dev

.PHONY: all demo test build bootstrap configure bench sanitize tsan clean docs

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

bench: bootstrap
	@cmake --preset release >/dev/null
	@cmake --build --preset release
	@for b in build/release/bench/bench_*; do echo "== $$b"; $$b; done

sanitize: bootstrap
	@cmake --preset asan >/dev/null
	@cmake --build --preset asan
	@ctest --preset asan

tsan: bootstrap
	@cmake --preset tsan >/dev/null
	@cmake --build --preset tsan
	@ctest --preset tsan -R 'concurrency|Concurrent|Thread'

docs:
	@scripts/bootstrap docs
	@cmake --preset $(PRESET) >/dev/null
	@cmake --build --preset $(PRESET) --target docs
	@echo "API reference: build/$(PRESET)/docs/html/index.html"

clean:
	@rm -rf build
