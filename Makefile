# Everything a newcomer needs, each target doing the set-up that it needs on a fresh Debian 12.
.DEFAULT_GOAL := help
.PHONY: help demo studio test asan levels docs bench bench-smoke fuzz tsan tidy format
SHELL := /bin/bash
JOBS := $(shell nproc)

BUILD := build/release
CONFIGURE := cmake -G Ninja
SANITIZERS := address,undefined,float-cast-overflow
PACKAGES := g++ cmake ninja-build pkg-config libopencv-core-dev libopencv-imgproc-dev libeigen3-dev
PHOTO_PACKAGES := libopenimageio-dev liblcms2-dev libexiv2-dev libheif-dev libjpeg-dev libpng-dev libwebp-dev nlohmann-json3-dev libcli11-dev
TEST_PACKAGES := $(PACKAGES) $(PHOTO_PACKAGES) libgtest-dev libtiff-dev qt6-base-dev fonts-dejavu-core
FUZZ_PACKAGES := $(PACKAGES) clang-14 libclang-rt-14-dev libomp-14-dev
BENCH_PACKAGES := $(PACKAGES) libbenchmark-dev libopencv-contrib-dev

help: ## List these targets
	@grep -hE '^[a-z-]+:.*## ' $(MAKEFILE_LIST) | sed -E 's/^([a-z-]+):.*## (.*)/  make \1\t\2/' | expand -t 20

demo: ## Build the example hosts, develop and paint the bundled photograph, say where the pictures are
	@cmake/packages.sh $(PACKAGES) $(PHOTO_PACKAGES) qt6-base-dev
	@$(CONFIGURE) -S . -B $(BUILD) -DKESTROVA_PHOTO=ON -DKESTROVA_APPS=ON -DKESTROVA_EXAMPLES=ON -DKESTROVA_TESTS=OFF -DKESTROVA_BENCH=OFF
	@cmake --build $(BUILD) -j $(JOBS) --target examples kestrova-develop
	@examples/demo.sh $(BUILD)/apps/kestrova-develop $(BUILD)/examples/kestrova-paint $(BUILD)/demo

# $(call run_tests,DIRECTORY,OPTIONS): builds everything but the benches there, and runs every test
define run_tests
	@cmake/packages.sh $(TEST_PACKAGES)
	@$(CONFIGURE) -S . -B $(1) -DKESTROVA_TESTS=ON -DKESTROVA_PHOTO=ON -DKESTROVA_APPS=ON -DKESTROVA_EXAMPLES=ON -DKESTROVA_BENCH=OFF \
	  $(2)
	@cmake --build $(1) -j $(JOBS)
	@ctest --test-dir $(1) --output-on-failure -j $(JOBS)
endef

studio: ## Build the window and start it on copies of the bundled photographs
	@cmake/packages.sh $(PACKAGES) $(PHOTO_PACKAGES) qt6-base-dev fonts-dejavu-core
	@$(CONFIGURE) -S . -B $(BUILD) -DKESTROVA_PHOTO=ON -DKESTROVA_APPS=ON -DKESTROVA_STUDIO=ON -DKESTROVA_EXAMPLES=OFF \
	  -DKESTROVA_TESTS=OFF -DKESTROVA_BENCH=OFF
	@cmake --build $(BUILD) -j $(JOBS) --target kestrova-studio
	@mkdir -p $(BUILD)/photos && cp -u examples/photos/*.jpg examples/photos/*.png $(BUILD)/photos
	@$(BUILD)/apps/studio/kestrova-studio $(BUILD)/photos/dandelion_5312x2988.jpg

test: ## Build everything and run every test
	$(call run_tests,$(BUILD))

asan: ## Run every test of the core under AddressSanitizer and UndefinedBehaviorSanitizer
	$(call run_tests,build/asan,-DKESTROVA_SANITIZE=$(SANITIZERS) -DKESTROVA_PHOTO=OFF -DKESTROVA_APPS=OFF -DKESTROVA_EXAMPLES=OFF)

levels: ## Run the library's tests at each level of the instruction set below the one that `make test` runs at
	@cmake/packages.sh $(TEST_PACKAGES)
	@$(CONFIGURE) -S . -B $(BUILD) -DKESTROVA_TESTS=ON -DKESTROVA_BENCH=OFF
	@for level in $$(cmake/levels.sh | head -n -1); do \
	     echo "kernels of $$level alone:"; \
	     cmake --build $(BUILD) -j $(JOBS) --target kestrova_tests_$$level && \
	     $(BUILD)/tests/kestrova_tests_$$level --gtest_brief=1 || exit; \
	 done

docs: ## Write the reference and a page per subsystem; what is exported and has no comment is an error
	@cmake/packages.sh doxygen graphviz
	@mkdir -p build/docs
	@KESTROVA_VERSION=$$(sed -n 's/^project(kestrova VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt) \
	 KESTROVA_HEADERS="$$(grep -l 'KESTROVA_EXPORT ' $$(git ls-files 'kestrova/*.h' ':!kestrova/export.h') | tr '\n' ' ')" \
	 doxygen docs/Doxyfile
	@echo 'the documentation: build/docs/html/index.html'

# $(call run_bench,OPTIONS)
define run_bench
	@cmake/packages.sh $(BENCH_PACKAGES)
	@$(CONFIGURE) -S . -B $(BUILD) -DKESTROVA_BENCH=ON -DKESTROVA_TESTS=OFF -DKESTROVA_PHOTO=OFF -DKESTROVA_EXAMPLES=OFF
	@cmake --build $(BUILD) -j $(JOBS) --target kestrova_bench
	@$(BUILD)/bench/kestrova_bench $(1)
endef

bench: ## Measure every operation beside a plain copy; BENCH=regex chooses
	$(call run_bench,--benchmark_filter='$(or $(BENCH),.*)' --benchmark_counters_tabular=true)

bench-smoke: ## Run every operation of the benches once with one thread, without its larger sizes
	$(call run_bench,--benchmark_filter='-6000x4000|2048|1500|1024|512x512|threads:[^1]' --benchmark_min_time=0)

fuzz: ## Search each fuzz target for SECONDS=n (60), then look into build/fuzz/fuzz/found
	@cmake/packages.sh $(FUZZ_PACKAGES)
	@$(CONFIGURE) -S . -B build/fuzz -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER=clang++-14 -DKESTROVA_FUZZ=ON \
	  -DKESTROVA_SANITIZE=$(SANITIZERS) -DKESTROVA_TESTS=OFF -DKESTROVA_BENCH=OFF -DKESTROVA_PHOTO=OFF \
	  -DKESTROVA_EXAMPLES=OFF
	@cmake --build build/fuzz -j $(JOBS) --target fuzz_targets
	@fuzz/run.sh build/fuzz/fuzz $(or $(SECONDS),60)

tsan: ## Run two threads of a host at once under ThreadSanitizer, with teams of one and of two
	@cmake/packages.sh $(FUZZ_PACKAGES) libgtest-dev
	@$(CONFIGURE) -S . -B build/tsan -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER=clang++-14 -DKESTROVA_SANITIZE=thread \
	  -DKESTROVA_TESTS=ON -DKESTROVA_BENCH=OFF -DKESTROVA_PHOTO=OFF -DKESTROVA_EXAMPLES=OFF
	@cmake --build build/tsan -j $(JOBS) --target kestrova_threads_tests
	@for threads in 1 2; do OMP_NUM_THREADS=$$threads OMP_TOOL_LIBRARIES=/usr/lib/llvm-14/lib/libarcher.so \
	  TSAN_OPTIONS=ignore_noninstrumented_modules=1 build/tsan/tests/kestrova_threads_tests || exit 1; done

tidy: ## Run clang-tidy over the library; CHECKS adds to those of .clang-tidy, or takes away from them
	@cmake/packages.sh $(TEST_PACKAGES) clang-tidy libomp-14-dev
	@$(CONFIGURE) -S . -B $(BUILD) -DKESTROVA_TESTS=OFF -DKESTROVA_EXAMPLES=OFF -DKESTROVA_BENCH=OFF >/dev/null
	@git ls-files 'kestrova/*.cpp' | xargs -P $(JOBS) -n 1 clang-tidy --quiet -p $(BUILD) $(if $(CHECKS),--checks='$(CHECKS)')

format: ## Lay out the sources as .clang-format says
	@cmake/packages.sh clang-format
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i
