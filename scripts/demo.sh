#!/usr/bin/env bash
# First run on a fresh Debian machine: installs what the build needs, builds
# the kavix command, and grabs a few frames from a simulated colour camera
# into a folder, then says where they are.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build --target kavix -j "$(nproc)"
folder="$PWD/out/demo"
mkdir -p "$folder"
./build/tools/kavix --sim Tovrik-Q4C-A list
./build/tools/kavix --sim Tovrik-Q4C-A grab -n 5 -o "$folder/shot_%03d.png"
echo "The frames are in $folder"
