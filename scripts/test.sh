#!/bin/bash
# Installs what quzo needs, builds it and runs all its tests. Ends as ctest ends, with ctest's exit code.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# What was compiled in another checkout counts.
export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1
jobs=$(nproc)

scripts/install_packages --with-tests
cmake --preset release
cmake --build --preset release --parallel "$jobs"
exec ctest --preset release --parallel "$jobs"
