#!/usr/bin/env bash
# Installs the Python package `quorvel` for Debian's python3, system-wide
# (below /usr/local), so that `python3 -c "import quorvel"` works from any
# directory. Runs as root (or through sudo) on Debian 12. Extra arguments go
# to pip (e.g. --force-reinstall).
#
# Debian marks its python3 as externally managed, so pip needs
# --break-system-packages for a system install; it installs only quorvel
# (--no-deps: numpy comes from Debian's python3-numpy) and
# `pip uninstall --break-system-packages quorvel` removes it again.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
sudo_cmd=""
[ "$(id -u)" -eq 0 ] || sudo_cmd="sudo"
$sudo_cmd /usr/bin/python3 -m pip install --no-build-isolation --no-deps --break-system-packages \
  --root-user-action=ignore "$@" .
