#!/bin/sh
# Installs the Debian 12 packages the build needs, only those missing.
set -eu

# linux-libc-dev: the i2c-dev interface qsfpctl uses; python3-jsonschema: the
# checks of its JSON output against tools/qsfpctl/schemas; prometheus-cpp-dev:
# qsfpctl metrics and serve, python3-prometheus-client: the parser their tests
# read them with; libssl-dev: the SHA-256 of cdb --sha256; go-md2man: the man
# page, groff-base: its check; bsdutils: script(1), the pseudo-terminal of the
# progress-bar tests; clang-tidy and cppcheck: the static checks.
PACKAGES="build-essential cmake ninja-build pkg-config git
libsafec-dev googletest libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev nlohmann-json3-dev
linux-libc-dev python3 python3-jsonschema
prometheus-cpp-dev python3-prometheus-client libssl-dev go-md2man groff-base bsdutils
clang lld libclang-rt-14-dev clang-tidy cppcheck"

missing=""
for p in $PACKAGES; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "ok installed" || missing="$missing $p"
done
if [ -n "$missing" ]; then
    echo "installing:$missing"
    if [ "$(id -u)" -ne 0 ]; then
        echo "run as root (or install these packages first):$missing" >&2
        exit 1
    fi
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -q
    # shellcheck disable=SC2086
    apt-get install -y -q --no-install-recommends $missing
fi
