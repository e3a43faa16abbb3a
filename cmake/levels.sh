#!/bin/sh
# Prints the levels of the instruction set that the kernels are compiled for and this processor has, the best one last.
[ "$(uname -m)" = x86_64 ] || exit 0
echo x86-64
/lib64/ld-linux-x86-64.so.2 --help | sed -n 's/^ *\(x86-64-v[34]\) (supported.*/\1/p' | sort
