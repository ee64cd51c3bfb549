#!/bin/sh
# Compiles the host types' layout assertions for 32-bit pointers; Qt's headers are all that it takes of Qt.
# usage: dummy_device_layout.sh SOURCE_DIR
set -eu
cd "$1"
qt=$(qmake -query QT_INSTALL_HEADERS)
g++ -m32 -std=c++17 -fsyntax-only -fPIC -Wall -Wextra -Werror -I. -isystem "$qt" -isystem "$qt/QtCore" \
    tests/check/dummy_device_layout.cpp
