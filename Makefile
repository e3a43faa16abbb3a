# Everything a newcomer needs, each target doing the set-up that it needs on a fresh Debian 12.
.DEFAULT_GOAL := help
.PHONY: help demo test docs bench asan tidy format
SHELL := /bin/bash
JOBS := $(shell nproc)

BUILD := build/release
CONFIGURE := cmake -G Ninja
PACKAGES := g++ cmake ninja-build pkg-config libopencv-core-dev libopencv-imgproc-dev libeigen3-dev
PHOTO_PACKAGES := libopenimageio-dev liblcms2-dev libexiv2-dev libheif-dev libjpeg-dev libpng-dev libwebp-dev nlohmann-json3-dev libcli11-dev
TEST_PACKAGES := $(PACKAGES) $(PHOTO_PACKAGES) libgtest-dev libtiff-dev qt6-base-dev
BENCH_PACKAGES := $(PACKAGES) libbenchmark-dev libopencv-contrib-dev

help: ## List these targets
	@grep -hE '^[a-z]+:.*## ' $(MAKEFILE_LIST) | sed -E 's/^([a-z]+):.*## (.*)/  make \1\t\2/' | expand -t 16

demo: ## Build the example hosts, develop and paint the bundled photograph, say where the pictures are
	@cmake/packages.sh $(PACKAGES) $(PHOTO_PACKAGES) qt6-base-dev
	@$(CONFIGURE) -S . -B $(BUILD) -DKESTROVA_TESTS=OFF -DKESTROVA_BENCH=OFF
	@cmake --build $(BUILD) -j $(JOBS) --target examples kestrova-develop
	@examples/demo.sh $(BUILD)/apps/kestrova-develop $(BUILD)/examples/kestrova-paint $(BUILD)/demo

test: ## Build everything and run every test
	@cmake/packages.sh $(TEST_PACKAGES)
	@$(CONFIGURE) -S . -B $(BUILD) -DKESTROVA_TESTS=ON -DKESTROVA_BENCH=OFF -DKESTROVA_PHOTO=ON
	@cmake --build $(BUILD) -j $(JOBS) --target kestrova kestrova_tests kestrova_photo_tests kestrova_apps_tests kestrova_docs_tests examples kestrova_examples_tests
	@ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

docs: ## Write the reference and a page per subsystem; what is exported and not told is an error
	@cmake/packages.sh doxygen graphviz
	@mkdir -p build/docs
	@KESTROVA_VERSION=$$(sed -n 's/^project(kestrova VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt) \
	 KESTROVA_HEADERS="$$(grep -l 'KESTROVA_EXPORT ' $$(git ls-files 'kestrova/*.h' ':!kestrova/export.h') | tr '\n' ' ')" \
	 doxygen docs/Doxyfile
	@echo 'the documentation: build/docs/html/index.html'

bench: ## Measure every operation beside a plain copy; BENCH=regex chooses
	@cmake/packages.sh $(BENCH_PACKAGES)
	@$(CONFIGURE) -S . -B build/bench -DKESTROVA_BENCH=ON -DKESTROVA_TESTS=OFF -DKESTROVA_PHOTO=OFF -DKESTROVA_EXAMPLES=OFF
	@cmake --build build/bench -j $(JOBS) --target kestrova_bench
	@build/bench/bench/kestrova_bench --benchmark_filter='$(or $(BENCH),.*)' --benchmark_counters_tabular=true

asan: ## Run every test under AddressSanitizer and UndefinedBehaviorSanitizer
	@cmake/packages.sh $(TEST_PACKAGES)
	@$(CONFIGURE) -S . -B build/asan -DCMAKE_BUILD_TYPE=Release -DKESTROVA_SANITIZE=address,undefined -DKESTROVA_BENCH=OFF
	@cmake --build build/asan -j $(JOBS) --target kestrova kestrova_tests kestrova_photo_tests kestrova_apps_tests kestrova_docs_tests examples kestrova_examples_tests
	@ctest --test-dir build/asan --output-on-failure -j $(JOBS)

tidy: ## Run clang-tidy over the library
	@cmake/packages.sh $(TEST_PACKAGES) clang-tidy
	@$(CONFIGURE) -S . -B build/tidy -DCMAKE_CXX_COMPILER=g++ -DKESTROVA_BENCH=OFF >/dev/null
	@git ls-files 'kestrova/*.cpp' 'photo/*.cpp' | xargs -P $(JOBS) -n 1 clang-tidy --quiet -p build/tidy

format: ## Lay out the sources as .clang-format says
	@cmake/packages.sh clang-format
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i
