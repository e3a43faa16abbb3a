#!/bin/bash
# Installs the packages of `make packages` in a fresh Debian 12 that debootstrap makes, uses each of them there, purges
# them, and holds that nothing of them is left. Needs root and Debian's archive; takes some minutes and 2 GB.
# Usage: clean_root.sh PACKAGE_DIR SOURCE_DIR [DEBIAN_MIRROR]
set -euo pipefail
packages=$(realpath "$1") source=$(realpath "$2") mirror=${3:-http://deb.debian.org/debian}
root=$(mktemp -d)
chmod 755 "$root"
unmount() { ! mountpoint -q "$root/proc" || umount "$root/proc"; }
trap 'unmount; rm -rf --one-file-system "$root"' EXIT
export DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8

inside() { chroot "$root" "$@"; }
say() { echo "== $*"; }
has() { [ -n "$(compgen -G "$packages/$1_*.deb")" ]; }

say "debootstrap"
debootstrap --variant=minbase bookworm "$root" "$mirror" >/dev/null
cat >"$root/etc/apt/sources.list" <<END
deb $mirror bookworm main
deb $mirror bookworm-updates main
deb ${mirror%/debian}/debian-security bookworm-security main
END
cp /etc/resolv.conf "$root/etc/resolv.conf"
printf '#!/bin/sh\nexit 101\n' >"$root/usr/sbin/policy-rc.d"  # no services in here
chmod +x "$root/usr/sbin/policy-rc.d"
mount -t proc proc "$root/proc"
echo 'Dpkg::Use-Pty "false";' >"$root/etc/apt/apt.conf.d/99clean-root"
mkdir "$root/packages" "$root/use"
cp "$packages"/*.deb "$root/packages"
names=$(for file in "$packages"/*.deb; do dpkg-deb -f "$file" Package; done)

# What the packages depend on comes first, and a host's tools: what those leave behind is theirs. The names are apt's
# answer to the packages' own fields.
say "what the packages depend on"
inside apt-get update -qq
dependencies=$(inside sh -c 'apt-get install -s --no-install-recommends /packages/*.deb' | sed -n 's/^Inst \([^ ]*\).*/\1/p' |
               grep -vxF "$names")
inside apt-get install -y -qq --no-install-recommends $dependencies g++ cmake make pkg-config >/dev/null

# Every path but those that dpkg, apt, ldconfig and the like write for themselves; files with size and time.
paths() {
    inside find / -xdev \( -path /proc -o -path /packages -o -path /use -o -path /tmp -o -path /var/lib/dpkg \
        -o -path /var/lib/apt -o -path /var/cache -o -path /var/log -o -path /etc/ld.so.cache \) -prune \
        -o -type d -printf '%p/\n' -o -printf '%p %s %T@\n' | sort
}
paths >"$root/use/before"

say "install: " $names
inside sh -c 'apt-get install -y -qq --no-install-recommends /packages/*.deb' >/dev/null
inside dpkg --verify $names

say "a host by CMake and one by pkg-config"
cp -r "$source/tests/install" "$source/examples/photos" "$root/use"
mkdir -p "$root/use/hosts/tests" "$root/use/hosts/examples"
mv "$root/use/install" "$root/use/hosts/tests"
cp -r "$source/examples/tour" "$root/use/hosts/examples"
inside sh -ec '
    cmake -S /use/hosts/tests/install -B /use/build >/dev/null
    cmake --build /use/build >/dev/null
    /use/build/consumer >/dev/null
    /use/build/tour >/dev/null
    /use/build/photo_consumer /use/photo.png
    c++ -std=c++17 /use/hosts/tests/install/photo_consumer.cpp $(pkg-config --cflags --libs kestrova_photo) -o /use/host
    /use/host /use/photo.png'

if has kestrova-tools; then
    say "kestrova-develop on a photograph"
    inside kestrova-develop --version
    inside kestrova-develop /use/photos/dandelion_768x512.png -o /use/out.jpg --medium 0.4 --shadows 0.4 --quiet
    [ "$(head -c 3 "$root/use/out.jpg" | od -An -tx1)" = " ff d8 ff" ]
    [ -f "$root/usr/share/man/man1/kestrova-develop.1.gz" ]
fi
if has kestrova-studio; then
    say "kestrova-studio"
    inside env QT_QPA_PLATFORM=offscreen HOME=/use kestrova-studio --version
fi
if has python3-kestrova; then
    say "import kestrova"
    inside env HOME=/use python3 -c '
import kestrova, numpy
plane = numpy.random.default_rng(1).integers(0, 65536, (40, 50), dtype=numpy.uint16)
print(kestrova.__file__, kestrova.__version__)
help(kestrova.guided_filter)' >"$root/use/python"
    head -1 "$root/use/python"
fi
if has kestrova-doc; then
    say "the documentation"
    [ -s "$root/usr/share/doc/kestrova-doc/html/index.html" ]
fi

say "purge"
inside apt-get purge -y -qq $names >/dev/null
if inside dpkg-query -W -f '${db:Status-Abbrev} ${Package}\n' $names 2>/dev/null | grep -v '^un'; then
    echo "still known to dpkg" >&2
    exit 1
fi
paths >"$root/use/after"
if ! diff "$root/use/before" "$root/use/after" || grep -rlq kestrova "$root/var/lib/dpkg/info" "$root/etc"; then
    echo "something is left behind" >&2
    exit 1
fi
say "nothing is left behind"
