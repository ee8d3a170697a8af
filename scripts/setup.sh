#!/usr/bin/env bash
# Installs the Debian packages the project builds with (when any is missing), then configures and
# builds into ./build. Extra arguments go to CMake's configure step.
set -euo pipefail
cd "$(dirname "$0")/.."

apt_install() {
  echo "installing: $*"
  local sudo_cmd=""
  [ "$(id -u)" -ne 0 ] && sudo_cmd="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $sudo_cmd apt-get update -qq
  $sudo_cmd apt-get install -y -qq --no-install-recommends "$@"
}

packages=(g++ cmake make gemmi-dev tao-pegtl-dev zlib1g-dev libsqlite3-dev libcli11-dev
          nlohmann-json3-dev libgtest-dev libgmock-dev libbenchmark-dev pybind11-dev
          python3-pybind11 python3-pytest)
missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] || apt_install "${missing[@]}"

# The HTML report embeds a molecular viewer from npm, and its test opens reports in Chromium.
# Without them the program still builds, and its reports say that the 3D view is unavailable.
web=()
command -v npm >/dev/null 2>&1 || web+=(npm)
dpkg -s chromium >/dev/null 2>&1 || web+=(chromium)
if [ ${#web[@]} -gt 0 ]; then
  apt_install "${web[@]}" || echo "warning: ${web[*]} not installed: reports get no 3D view" >&2
fi
if command -v npm >/dev/null 2>&1 &&
   ! [ web/node_modules/.package-lock.json -nt web/package-lock.json ]; then
  (cd web && npm ci --no-audit --no-fund --loglevel=error) ||
    echo "warning: npm ci failed in web/: reports get no 3D view" >&2
fi

build_dir="${XTALMOTIF_BUILD_DIR:-build}"
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@"
cmake --build "$build_dir" -j "$(nproc)"
