# The two commands of the README, and what else developers call. Everything real is in CMake presets and scripts/.
.PHONY: all setup build demo test check bench asan tsan fuzz faults install package clean

# PRESET=dev makes warnings errors: for whoever works on the tree.
PRESET = release

all: build

setup:
	@scripts/setup

build: setup
	@cmake --preset $(PRESET) >/dev/null
	@cmake --build --preset $(PRESET)

# Installs what is missing, builds what it runs and no test, starts the service on a private bus, describes sample files,
# shows the records.
demo:
	@scripts/setup build demo
	@cmake --preset $(PRESET) >/dev/null
	@cmake --build --preset $(PRESET) --target mivo mivo-mediad mivo-worker mivo-ffmpeg
	@scripts/demo

# Installs what is missing, builds, has clang read the locks where it is installed, runs every test.
test: build check
	@scripts/check-threads
	@ctest --preset $(PRESET) -j 2

# Format, direction of includes and links, who goes by path, lint of the Python programs. scripts/check has more, for whoever commits.
check:
	@scripts/check-includes
	@scripts/check-paths
	@scripts/check-format
	@scripts/check-python

# Timings side by side with what a user would pick instead; needs the bench packages.
bench:
	@scripts/setup build test bench
	@cmake --preset bench >/dev/null
	@cmake --build --preset bench
	@scripts/bench

# The thread sanitizer wants its address space where it expects it.
asan tsan:
	@scripts/setup
	@cmake --preset $@ >/dev/null
	@cmake --build --preset $@
	@$(if $(filter tsan,$@),setarch -R )ctest --preset $@ -j 2

# Builds the fuzz programs and what they start from, and starts each for a second: make fuzz SECONDS=600 for longer.
# fuzz/run starts one by its name.
SECONDS = 1
fuzz:
	@scripts/setup build test fuzz
	@cmake --preset fuzz >/dev/null
	@cmake --build --preset fuzz
	@fuzz/run $(SECONDS)

# Kills, full disks, failing calls, rivals, power cuts and lost workers, at full length (some forty minutes).
faults: build
	@tests/faults/run_faults.py --programs build/tests
	@tests/faults/run_settags.py --programs build/tests
	@tests/faults/run_power_cuts.py --programs build/tests
	@tests/faults/run_power_cuts.py --programs build/tests --without-sync --cuts 30 --updates 60
	@build/tests/test_integration --gtest_also_run_disabled_tests --gtest_filter='*WorkerAtDeadline*'
	@tests/faults/run_job_faults.py --programs build/bin
	@tests/faults/run_mirror.py --programs build/bin
	@tests/faults/run_index_faults.py --programs build/bin
	@tests/faults/run_activation.py --programs build/bin --bus dbus || test $$? = 77
	@tests/faults/run_activation.py --programs build/bin --bus systemd || test $$? = 77

# Into /usr/local, or where PREFIX= says; DESTDIR= is put before that.
PREFIX =
install: setup
	@cmake --preset $(PRESET) $(if $(PREFIX),-DCMAKE_INSTALL_PREFIX=$(PREFIX)) >/dev/null
	@cmake --build --preset $(PRESET)
	@cmake --install build

# The Debian packages, in build/package. DEB_BUILD_OPTIONS= make package runs the tests with it.
package:
	@scripts/setup build package
	@scripts/package

clean:
	@rm -rf build
