# The project's entry points. `make demo` and `make test` each do the whole set-up on a fresh
# Debian 12 machine: install packages, configure, build, run.
BUILD_DIR ?= build
ASAN_DIR ?= build-asan
BENCH_DIR ?= build-bench
FUZZ_DIR ?= build-fuzz
FUZZ_SECONDS ?= 60
FUZZ_SMOKE_SECONDS ?= 60
FUZZ_SMOKE_RUNS ?= 300
JOBS ?= 2
XVFB := $(CURDIR)/scripts/with-display.sh
CLI := $(BUILD_DIR)/apps/workpiece/workpiece
DEMO_DIR ?= $(BUILD_DIR)/demo

.PHONY: deps configure build demo images test sanitize-test install-check bench fuzz-build fuzz fuzz-smoke install clean

deps:
	./scripts/install-deps.sh

configure: deps
	cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=Release -DWORKPIECE_BUILD_TESTS=ON -DWORKPIECE_BUILD_CLI=ON

build: configure
	cmake --build $(BUILD_DIR) -j$(JOBS)

demo: build
	$(CLI) --version
	$(CLI) demo
	@$(CLI) generate-examples $(DEMO_DIR) > /dev/null
	@$(CLI) render $(DEMO_DIR)/tjoint.step --seams --out $(abspath $(DEMO_DIR))/demo-tjoint.png
	@$(CLI) render $(DEMO_DIR)/lbracket.step --seams --out $(abspath $(DEMO_DIR))/demo-lbracket.png

# The README's pictures, from the committed example files.
images: build
	$(CLI) render examples/tjoint.step --seams --size 960x720 --out docs/images/demo-tjoint.png
	$(CLI) render examples/lbracket.step --seams --size 960x720 --out docs/images/demo-lbracket.png
	$(CLI) render examples/cell/robot.json --joints 0,-30,20,0,45,0 --size 960x720 --out docs/images/robot-pose.png

test: build
	cd $(BUILD_DIR) && $(XVFB) ctest --output-on-failure -j$(JOBS)

# The same suite with address and undefined-behaviour sanitizers; any report fails the run.
sanitize-test: deps
	cmake -S . -B $(ASAN_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DWORKPIECE_SANITIZE=ON -DWORKPIECE_BUILD_CLI=ON
	cmake --build $(ASAN_DIR) -j$(JOBS)
	cd $(ASAN_DIR) && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
	  LSAN_OPTIONS=suppressions=$(CURDIR)/scripts/lsan.supp:print_suppressions=0 \
	  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	  $(XVFB) ctest --output-on-failure -j$(JOBS)

# Installs into a temporary prefix and runs the tool from there, as a user of a non-system prefix would.
install-check: build
	prefix=$$(mktemp -d) && cmake --install $(BUILD_DIR) --prefix $$prefix > /dev/null && \
	  $$prefix/bin/workpiece --version && $$prefix/bin/workpiece demo > /dev/null && \
	  echo "install-check: $$prefix/bin/workpiece runs" && rm -rf $$prefix

bench: deps
	cmake -S . -B $(BENCH_DIR) -DCMAKE_BUILD_TYPE=Release -DWORKPIECE_BUILD_TESTS=OFF -DWORKPIECE_BUILD_BENCH=ON
	cmake --build $(BENCH_DIR) -j$(JOBS)
	for b in $(BENCH_DIR)/bench/bench_*; do $$b || exit 1; done

# libFuzzer targets (clang, address and undefined-behaviour sanitizers), one per input the library reads.
fuzz-build: deps
	cmake -S . -B $(FUZZ_DIR) -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER=clang++ -DWORKPIECE_BUILD_FUZZ=ON \
	  -DWORKPIECE_BUILD_TESTS=OFF -DWORKPIECE_BUILD_CLI=OFF
	cmake --build $(FUZZ_DIR) -j$(JOBS)

# Each target on a copy of its corpus for FUZZ_SECONDS; any crash, leak, timeout or memory blow-up fails.
fuzz: fuzz-build
	./fuzz/run.sh $(FUZZ_DIR) $(FUZZ_SECONDS)

# CI: every committed input once, then the same 300 new inputs per target (at most 60 s each).
fuzz-smoke: fuzz-build
	FUZZ_RUNS=$(FUZZ_SMOKE_RUNS) ./fuzz/run.sh $(FUZZ_DIR) $(FUZZ_SMOKE_SECONDS)

install: build
	cmake --install $(BUILD_DIR)

clean:
	rm -rf $(BUILD_DIR) $(ASAN_DIR) $(BENCH_DIR) $(FUZZ_DIR)
