#!/bin/sh
# Installs what the peer comparison needs beyond the build (Debian and
# derivatives): CGAL's development files (header-only there, so nothing else
# is needed) and SciPy, whose hulls and Delaunay triangulations make some of
# sweep.py's inputs.
set -e
missing=
for package in libcgal-dev python3-scipy; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
        missing="$missing $package"
    fi
done
if [ -z "$missing" ]; then
    echo "libcgal-dev and python3-scipy are already installed"
    exit 0
fi
if [ "$(id -u)" -ne 0 ]; then
    SUDO=sudo
else
    SUDO=
fi
$SUDO apt-get update
$SUDO env DEBIAN_FRONTEND=noninteractive apt-get install -y $missing
