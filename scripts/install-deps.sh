#!/bin/sh
# Installs every Debian 12 package the build, the tests and the benchmarks need.
# Runs apt-get only for what is missing; uses sudo when not root.
set -eu

PACKAGES="build-essential cmake ninja-build pkg-config \
  libgtest-dev libgmock-dev libbenchmark-dev \
  libboost-dev libboost-thread-dev libboost-date-time-dev \
  libpixman-1-dev libopenimageio-dev libcli11-dev libopencv-dev \
  liblcms2-dev icc-profiles-free colord-data"

missing=""
for p in $PACKAGES; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "ok installed"; then
    missing="$missing $p"
  fi
done
[ -z "$missing" ] && exit 0

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -q
# shellcheck disable=SC2086
$SUDO apt-get install -y -q --no-install-recommends $missing
