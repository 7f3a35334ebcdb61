#!/bin/sh
# Installs CGAL's development files for the peer benchmark (Debian and
# derivatives; CGAL is header-only there, so nothing else is needed).
set -e
if dpkg-query -W -f='${Status}' libcgal-dev 2>/dev/null | grep -q "install ok installed"; then
    echo "libcgal-dev is already installed"
    exit 0
fi
if [ "$(id -u)" -ne 0 ]; then
    SUDO=sudo
else
    SUDO=
fi
$SUDO apt-get update
$SUDO env DEBIAN_FRONTEND=noninteractive apt-get install -y libcgal-dev
