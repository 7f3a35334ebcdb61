"""Builds quorvel._quorvel with the project's CMake build (see pyproject.toml).

The module, libquorvel and libsarvetta are installed together inside the
package, which finds its libraries beside itself: the installed package does
not depend on where the sources or the build tree were.

QUORVEL_BUILD_DIR chooses the CMake build directory (default:
build/python-package in the source tree); QUORVEL_BUILD_JOBS the parallel jobs.
"""

import os
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = os.path.dirname(os.path.abspath(__file__))


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        package_dir = os.path.dirname(os.path.abspath(self.get_ext_fullpath(ext.name)))
        build_dir = os.environ.get("QUORVEL_BUILD_DIR", os.path.join(ROOT, "build", "python-package"))
        jobs = os.environ.get("QUORVEL_BUILD_JOBS", str(os.cpu_count() or 1))
        # Paths relative to the sources let a compiler cache serve this build
        # from an earlier one in another directory.
        os.environ.setdefault("CCACHE_BASEDIR", ROOT)
        subprocess.check_call([
            "cmake", "-S", ROOT, "-B", build_dir, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
            "-DQUORVEL_BUILD_TESTS=OFF", "-DQUORVEL_BUILD_BENCHMARKS=OFF", "-DQUORVEL_BUILD_TOOLS=ON",
            "-DQUORVEL_BUILD_PYTHON=ON", "-DQUORVEL_PYTHON_BUNDLE_LIBRARIES=ON",
            f"-DPython3_EXECUTABLE={sys.executable}",
            f"-DQUORVEL_PYTHON_INSTALL_DIR={os.path.dirname(package_dir)}",
        ])
        subprocess.check_call(["cmake", "--build", build_dir, "--target", "quorvel_python", "-j", jobs])
        subprocess.check_call(["cmake", "--install", build_dir, "--component", "python"])


setup(ext_modules=[Extension("quorvel._quorvel", sources=[])], cmdclass={"build_ext": CMakeBuild})
