#!/bin/sh
# Installs those of the named Debian packages that are missing, through sudo where the user is not root.
set -eu
missing=
for package; do
    case $(dpkg-query -W -f '${Status}' "$package" 2>/dev/null) in
        *"ok installed") ;;
        *) missing="$missing $package" ;;
    esac
done
[ -n "$missing" ] || exit 0
sudo=
[ "$(id -u)" = 0 ] || sudo=sudo
echo "installing:$missing"
$sudo env DEBIAN_FRONTEND=noninteractive apt-get update -qq
$sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing >/dev/null
