#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the demo need, and only
# those that are missing, so running it again costs a few dpkg queries.
set -euo pipefail

packages=(
  build-essential cmake pkg-config clang
  qtbase5-dev qttools5-dev qttools5-dev-tools qttranslations5-l10n libqt5charts5-dev
  libboost-dev
  rapidjson-dev
  python3-dev
  libhiredis-dev redis-server redis-sentinel
  stunnel4 openssl
  libgtest-dev libgmock-dev
  libbenchmark-dev
  zlib1g-dev libdeflate-dev
  xvfb xauth
  dpkg-dev
  doxygen
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "installing: ${missing[*]}"
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then sudo_cmd=(sudo); fi
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
