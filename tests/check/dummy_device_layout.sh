#!/bin/sh
# Compiles the host types' layout assertions for 32-bit pointers; Qt's headers are all that it takes of Qt. Where there
# are no 32-bit headers it ends with 77, for skipped.
# usage: dummy_device_layout.sh SOURCE_DIR
set -eu
cd "$1"
compile() {
    g++ -m32 -std=c++17 -fsyntax-only -fPIC -Wall -Wextra -Werror "$@"
}
echo '#include <cstdint>' | compile -x c++ - 2>/dev/null || {
    echo 'Skipped: the compiler has no 32-bit headers (package g++-multilib)'
    exit 77
}
qt=$(qmake -query QT_INSTALL_HEADERS)
compile -I. -isystem "$qt" -isystem "$qt/QtCore" tests/check/dummy_device_layout.cpp
