#!/usr/bin/env bash
# Installs the Debian packages the project builds with (when any is missing), then configures and
# builds into ./build. Extra arguments go to CMake's configure step.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(g++ cmake make gemmi-dev tao-pegtl-dev zlib1g-dev libsqlite3-dev libcli11-dev
          nlohmann-json3-dev libgtest-dev libgmock-dev libbenchmark-dev pybind11-dev
          python3-pybind11 python3-pytest)
missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  sudo_cmd=""
  [ "$(id -u)" -ne 0 ] && sudo_cmd="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $sudo_cmd apt-get update -qq
  $sudo_cmd apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

build_dir="${XTALMOTIF_BUILD_DIR:-build}"
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@"
cmake --build "$build_dir" -j "$(nproc)"
