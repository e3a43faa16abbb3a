# Everything a newcomer needs, each target doing the set-up that it needs on a fresh Debian 12.
.DEFAULT_GOAL := help
.PHONY: help demo pictures test asan asan-photo levels docs bench bench-busy bench-smoke bench-report fuzz tsan tidy \
  format python python-test python-examples python-asan packages packages-check abi abi-check compilers release \
  release-check studio translations
SHELL := /bin/bash
JOBS := $(shell nproc)
# Debian's own, whatever else comes first in PATH.
PYTHON := /usr/bin/python3

BUILD := build/release
CONFIGURE := cmake -G Ninja
SANITIZERS := address,undefined,float-cast-overflow
SOURCES := $(wildcard kestrova photo apps python examples tests bench fuzz docs)
PACKAGES := g++ cmake ninja-build pkg-config libopencv-core-dev libopencv-imgproc-dev libeigen3-dev
PHOTO_PACKAGES := libopenimageio-dev liblcms2-dev libexiv2-dev libheif-dev libjpeg-dev libpng-dev libwebp-dev nlohmann-json3-dev libcli11-dev
FUZZ_PACKAGES := $(PACKAGES) clang-14 libclang-rt-14-dev libomp-14-dev
PYTHON_PACKAGES := $(PACKAGES) $(PHOTO_PACKAGES) pybind11-dev python3-dev python3-numpy
PYTHON_TEST_PACKAGES := python3-pytest mypy
TEST_PACKAGES := $(PACKAGES) $(PHOTO_PACKAGES) libgtest-dev libtiff-dev qt6-base-dev qt6-l10n-tools parallel fonts-dejavu-core g++-11 clang-14 pybind11-dev python3-dev python3-numpy $(PYTHON_TEST_PACKAGES)
DOCS_PACKAGES := $(PACKAGES) libpng-dev doxygen graphviz mandoc python3
BENCH_PACKAGES := $(PACKAGES) libbenchmark-dev libopencv-contrib-dev libsuitesparse-dev libopencolorio-dev python3

help: ## List these targets
	@grep -hE '^[a-z-]+:.*## ' $(MAKEFILE_LIST) | sed -E 's/^([a-z-]+):.*## (.*)/  make \1\t\2/' | expand -t 24

demo: ## Build the example hosts, develop and paint the bundled photograph, say where the pictures are
	@cmake/packages.sh $(PACKAGES) $(PHOTO_PACKAGES)
	@$(CONFIGURE) -S . -B $(BUILD) -DKESTROVA_PHOTO=ON -DKESTROVA_APPS=ON -DKESTROVA_EXAMPLES=ON -DKESTROVA_TESTS=OFF -DKESTROVA_BENCH=OFF
	@cmake --build $(BUILD) -j $(JOBS) --target examples kestrova-develop
	@examples/demo.sh $(BUILD)/apps/kestrova-develop $(BUILD)/examples/kestrova-paint $(BUILD)/demo

pictures: ## Make the pictures of the photo layer in docs/ again
	@cmake/packages.sh $(PACKAGES) $(PHOTO_PACKAGES)
	@$(CONFIGURE) -S . -B $(BUILD) -DKESTROVA_PHOTO=ON -DKESTROVA_APPS=ON -DKESTROVA_TESTS=OFF -DKESTROVA_BENCH=OFF
	@cmake --build $(BUILD) -j $(JOBS) --target kestrova-develop
	@examples/pictures.sh $(BUILD)/apps/kestrova-develop docs

CORE_ALONE := -DKESTROVA_PHOTO=OFF -DKESTROVA_PYTHON=OFF -DKESTROVA_EXAMPLES=OFF
EVERYTHING := -DKESTROVA_PHOTO=ON -DKESTROVA_APPS=ON -DKESTROVA_STUDIO=ON -DKESTROVA_EXAMPLES=ON -DKESTROVA_PYTHON=ON -DPython_EXECUTABLE=$(PYTHON)

# $(call run_tests,DIRECTORY,OPTIONS): builds everything but the benches there, and runs every test
define run_tests
	@cmake/packages.sh $(TEST_PACKAGES)
	@$(CONFIGURE) -S . -B $(1) -DKESTROVA_TESTS=ON -DKESTROVA_BENCH=OFF $(2)
	@cmake --build $(1) -j $(JOBS)
	@ctest --test-dir $(1) --output-on-failure -j $(JOBS)
endef

studio: ## Build the window and start it on copies of the bundled photographs
	@cmake/packages.sh $(PACKAGES) $(PHOTO_PACKAGES) qt6-base-dev qt6-l10n-tools fonts-dejavu-core
	@$(CONFIGURE) -S . -B $(BUILD) -DKESTROVA_PHOTO=ON -DKESTROVA_APPS=ON -DKESTROVA_STUDIO=ON -DKESTROVA_EXAMPLES=OFF \
	  -DKESTROVA_TESTS=OFF -DKESTROVA_BENCH=OFF
	@cmake --build $(BUILD) -j $(JOBS) --target kestrova-studio
	@mkdir -p $(BUILD)/photos && cp -u examples/photos/*.jpg examples/photos/*.png $(BUILD)/photos
	@$(BUILD)/apps/studio/kestrova-studio $(BUILD)/photos/dandelion_5312x2988.jpg

translations: ## Collect the texts of the window for translation, in apps/studio/translations
	@cmake/packages.sh qt6-l10n-tools
	@/usr/lib/qt6/bin/lupdate -I apps -locations none -no-obsolete apps/studio -ts apps/studio/translations/*.ts

test: ## Build everything and run every test
	$(call run_tests,$(BUILD),$(EVERYTHING))

asan: ## Run every test of the core under AddressSanitizer and UndefinedBehaviorSanitizer
	$(call run_tests,build/asan,-DKESTROVA_SANITIZE=$(SANITIZERS) $(CORE_ALONE))

asan-photo: ## Run the tests of the photo layer and of kestrova-develop under the same, which takes half an hour
	@cmake/packages.sh $(TEST_PACKAGES)
	@$(CONFIGURE) -S . -B build/asan-photo -DKESTROVA_SANITIZE=$(SANITIZERS) -DKESTROVA_TESTS=ON -DKESTROVA_BENCH=OFF -DKESTROVA_PHOTO=ON \
	  -DKESTROVA_APPS=ON -DKESTROVA_STUDIO=OFF -DKESTROVA_PYTHON=OFF -DKESTROVA_EXAMPLES=OFF
	@cmake --build build/asan-photo -j $(JOBS) --target kestrova_photo_tests kestrova_apps_tests
	@for tests in kestrova_photo_tests kestrova_apps_tests; do \
	     UBSAN_OPTIONS=print_stacktrace=1 build/asan-photo/tests/$$tests --gtest_brief=1 || exit; \
	 done

levels: ## Run the library's tests at each level of the instruction set below the one that `make test` runs at
	@cmake/packages.sh $(TEST_PACKAGES)
	@$(CONFIGURE) -S . -B $(BUILD) -DKESTROVA_TESTS=ON -DKESTROVA_BENCH=OFF
	@for level in $$(cmake/levels.sh | head -n -1); do \
	     echo "kernels of $$level alone:"; \
	     cmake --build $(BUILD) -j $(JOBS) --target kestrova_tests_$$level && \
	     $(BUILD)/tests/kestrova_tests_$$level --gtest_brief=1 || exit; \
	 done

# $(call build_python,DIRECTORY,OPTIONS)
define build_python
	@cmake/packages.sh $(PYTHON_PACKAGES)
	@$(CONFIGURE) -S . -B $(1) -DKESTROVA_PYTHON=ON -DKESTROVA_PHOTO=ON -DPython_EXECUTABLE=$(PYTHON) $(2)
	@cmake --build $(1) -j $(JOBS) --target kestrova_python
endef

python: ## Build the Python module; PYTHONPATH=build/release/python python3 uses it from there
	$(call build_python,$(BUILD),-DKESTROVA_TESTS=OFF -DKESTROVA_EXAMPLES=OFF -DKESTROVA_BENCH=OFF)
	@echo 'the module: PYTHONPATH=$(BUILD)/python $(PYTHON)'

python-test: python ## Build the Python module and run its tests
	@cmake/packages.sh $(PYTHON_TEST_PACKAGES)
	@KESTROVA_DEVELOP=$(abspath $(wildcard $(BUILD)/apps/kestrova-develop)) PYTHONPATH=$(BUILD)/python \
	 $(PYTHON) -B -m pytest -q -p no:cacheprovider tests/python

python-examples: python ## Run the examples of the Python module; their figures are in build/release/python-examples
	@cmake/packages.sh python3-matplotlib python3-opencv python3-distributed
	@mkdir -p $(BUILD)/python-examples
	@cd $(BUILD)/python-examples && export PYTHONPATH=$(abspath $(BUILD))/python MPLBACKEND=Agg && \
	 for example in edge_aware_filters.py run_time.py batch.py "dask_folder.py $(abspath examples/photos) -d on-workers --kill-one"; do \
	     $(PYTHON) $(abspath examples/python)/$$example || exit; \
	 done

python-asan: ## Run the tests of the Python module under AddressSanitizer
	$(call build_python,build/python-asan,-DKESTROVA_SANITIZE=$(SANITIZERS) -DKESTROVA_TESTS=OFF -DKESTROVA_EXAMPLES=OFF -DKESTROVA_APPS=OFF -DKESTROVA_BENCH=OFF)
	@cmake/packages.sh $(PYTHON_TEST_PACKAGES)
	@LD_PRELOAD="$$(g++ -print-file-name=libasan.so) $$(g++ -print-file-name=libstdc++.so)" ASAN_OPTIONS=detect_leaks=0 \
	 UBSAN_OPTIONS=print_stacktrace=1 PYTHONPATH=build/python-asan/python \
	 $(PYTHON) -B -m pytest -q -p no:cacheprovider -m 'not slow_sanitized' tests/python

docs: ## Write the site: guide, pages with pictures, reference; what is exported and has no comment is an error
	@cmake/packages.sh $(DOCS_PACKAGES)
	@$(CONFIGURE) -S . -B $(BUILD) -DKESTROVA_DOCS=ON -DKESTROVA_TESTS=OFF -DKESTROVA_BENCH=OFF $(CORE_ALONE)
	@cmake --build $(BUILD) -j $(JOBS) --target docs_programs
	@docs/build.sh $(BUILD)/docs

# A build with debug information, for the comparison of interfaces alone
define configure_abi
	@cmake/packages.sh $(PACKAGES) $(PHOTO_PACKAGES) abigail-tools xz-utils
	@$(CONFIGURE) -S . -B build/abi -DCMAKE_BUILD_TYPE=Debug -DKESTROVA_ABI=ON -DKESTROVA_PHOTO=ON -DKESTROVA_APPS=OFF \
	  -DKESTROVA_TESTS=OFF -DKESTROVA_BENCH=OFF -DKESTROVA_EXAMPLES=OFF
endef

abi-check: ## Compare the libraries' binary interface with that of the last release, kept in abi/
	$(configure_abi)
	@cmake --build build/abi -j $(JOBS) --target kestrova kestrova_photo
	@ctest --test-dir build/abi --output-on-failure -j $(JOBS)

abi: ## Accept the binary interface as it is now
	$(configure_abi)
	@cmake --build build/abi -j $(JOBS) --target abi_accept

packages: docs ## Build the Debian packages into build/packages, and check them with lintian
	@cmake/packages.sh $(PYTHON_PACKAGES) qt6-base-dev qt6-l10n-tools dpkg-dev file lintian
	@$(CONFIGURE) -S . -B build/packages -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_SKIP_INSTALL_RPATH=ON \
	  -DCMAKE_EXE_LINKER_FLAGS=-Wl,-z,relro,-z,now $(if $(MAINTAINER),-DKESTROVA_MAINTAINER='$(MAINTAINER)') \
	  -DCMAKE_INSTALL_LIBDIR=lib/$$(dpkg-architecture -qDEB_HOST_MULTIARCH) -DKESTROVA_DOCS_HTML=$(CURDIR)/build/docs/html \
	  -DKESTROVA_PYTHON=ON -DPython_EXECUTABLE=$(PYTHON) -DKESTROVA_TESTS=OFF -DKESTROVA_BENCH=OFF -DKESTROVA_EXAMPLES=OFF
	@cmake --build build/packages -j $(JOBS)
	@rm -f build/packages/*.deb
	@cd build/packages && cpack
	@lintian --fail-on error,warning --allow-root build/packages/*.deb
	@ls -sh build/packages/*.deb

packages-check: ## Install, use and purge what `make packages` has built in a fresh Debian 12 (root, some minutes)
	@cmake/packages.sh debootstrap
	@packaging/clean_root.sh build/packages .

compilers: ## Build the libraries and their hosts by the oldest compilers that are supported, and run those hosts
	@cmake/packages.sh $(TEST_PACKAGES) libomp-14-dev
	@for compiler in g++-11 clang++-14; do \
	     $(CONFIGURE) -S . -B build/$$compiler -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER=$$compiler -DKESTROVA_TESTS=ON \
	       -DKESTROVA_BENCH=OFF -DKESTROVA_EXAMPLES=OFF -DKESTROVA_STUDIO=OFF && \
	     cmake --build build/$$compiler -j $(JOBS) --target kestrova kestrova_photo kestrova-develop kestrova_docs_tests && \
	     build/$$compiler/tests/kestrova_docs_tests --gtest_brief=1 && \
	     ctest --test-dir build/$$compiler --output-on-failure -R '^(exported_symbols|strict_host|installed_tree)' || exit; \
	 done

release: ## Cut the source archive of this version into build/dist, with its SHA256 and what is new
	@cmake/release.sh

release-check: ## Unpack the archive of `make release`, build it without git and run a part of the tests
	@cmake/packages.sh $(TEST_PACKAGES)
	@cmake/release.sh check

define build_bench
	@cmake/packages.sh $(BENCH_PACKAGES)
	@$(CONFIGURE) -S . -B $(BUILD) -DKESTROVA_BENCH=ON -DKESTROVA_TESTS=OFF $(CORE_ALONE)
	@cmake --build $(BUILD) -j $(JOBS) --target kestrova_bench
endef
KESTROVA_BENCH := $(BUILD)/bench/kestrova_bench
BENCH_REPORT := python3 -B bench/report.py --bench $(KESTROVA_BENCH)

bench: ## Measure every operation beside a plain copy; BENCH=regex chooses
	$(build_bench)
	@$(KESTROVA_BENCH) --benchmark_filter='$(or $(BENCH),.*)' --benchmark_counters_tabular=true

bench-busy: ## The same beside a busy process on every core: with all threads never slower than with one; BENCH=regex chooses, by default all but the peers
	$(build_bench)
	@$(KESTROVA_BENCH) --beside_busy_processes='$(or $(BENCH),^(?!.*(cv::|ximgproc|OpenColorIO|opencv|the same with)).*)'

bench-smoke: ## Run every operation of the benches once with one thread, without its larger sizes
	$(build_bench)
	@$(KESTROVA_BENCH) --benchmark_filter='-6000x4000|2048|1500|1024|512x512|threads:[^1]' --benchmark_min_time=0
	@$(BENCH_REPORT) --check

bench-report: ## Measure operations beside their peers on a quiet machine, and write tables and plots to docs/performance
	$(build_bench)
	@$(BENCH_REPORT) $(BENCH_REPORT_OPTIONS)

fuzz: ## Search each fuzz target for SECONDS=n (60), then look into build/fuzz/fuzz/found
	@cmake/packages.sh $(FUZZ_PACKAGES)
	@$(CONFIGURE) -S . -B build/fuzz -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER=clang++-14 -DKESTROVA_FUZZ=ON \
	  -DKESTROVA_SANITIZE=$(SANITIZERS) -DKESTROVA_TESTS=OFF -DKESTROVA_BENCH=OFF $(CORE_ALONE)
	@cmake --build build/fuzz -j $(JOBS) --target fuzz_targets
	@fuzz/run.sh build/fuzz/fuzz $(or $(SECONDS),60)

tsan: ## Run two threads of a host at once under ThreadSanitizer, with teams of one and of two
	@cmake/packages.sh $(FUZZ_PACKAGES) libgtest-dev
	@$(CONFIGURE) -S . -B build/tsan -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER=clang++-14 -DKESTROVA_SANITIZE=thread \
	  -DKESTROVA_TESTS=ON -DKESTROVA_BENCH=OFF $(CORE_ALONE)
	@cmake --build build/tsan -j $(JOBS) --target kestrova_threads_tests
	@for threads in 1 2; do OMP_NUM_THREADS=$$threads OMP_TOOL_LIBRARIES=/usr/lib/llvm-14/lib/libarcher.so \
	  TSAN_OPTIONS=ignore_noninstrumented_modules=1 build/tsan/tests/kestrova_threads_tests || exit 1; done

tidy: ## Run clang-tidy over the library; CHECKS adds to those of .clang-tidy, or takes away from them
	@cmake/packages.sh $(TEST_PACKAGES) clang-tidy libomp-14-dev
	@$(CONFIGURE) -S . -B $(BUILD) -DKESTROVA_TESTS=OFF -DKESTROVA_EXAMPLES=OFF -DKESTROVA_BENCH=OFF >/dev/null
	@find kestrova -name '*.cpp' | sort | xargs -P $(JOBS) -n 1 clang-tidy --quiet -p $(BUILD) $(if $(CHECKS),--checks='$(CHECKS)')

format: ## Lay out the sources as .clang-format says
	@cmake/packages.sh clang-format
	@find $(SOURCES) -name '*.cpp' -o -name '*.h' | xargs clang-format -i
