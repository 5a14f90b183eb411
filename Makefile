# Shortcuts over the CMake presets, for those who reach for make.
.PHONY: all test bench static
all:
	cmake --preset ci && cmake --build --preset ci
test:
	./scripts/test.sh
bench:
	cmake --preset ci && cmake --build --preset ci --target bench
static:
	./scripts/static-checks.sh
