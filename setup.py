#!/usr/bin/python3
"""What pyproject.toml cannot say: the package has programs in it, built by CMake.

A wheel is for one platform and any Python 3. Programs that a checkout has built are taken as they
are; without any they are built here.
"""

import shutil
import subprocess
from pathlib import Path

from setuptools import setup
from setuptools.command.build_py import build_py
from setuptools.dist import Distribution
from wheel.bdist_wheel import bdist_wheel

TOP = Path(__file__).resolve().parent
PROGRAMS = TOP / "build" / "release"


class BuildPrograms(build_py):
    """Builds the backend where it is missing, and forgets what an earlier version has left."""

    def run(self):
        shutil.rmtree(self.build_lib, ignore_errors=True)
        if not (PROGRAMS / "qsolve").exists():
            options = ["-DORBITRAX_TESTS=OFF", "-DORBITRAX_BENCHMARKS=OFF"]
            subprocess.run(["cmake", "--preset", "release", *options], cwd=TOP, check=True)
            subprocess.run(["cmake", "--build", str(PROGRAMS), "--target", "programs"], cwd=TOP,
                           check=True)
        super().run()


class PlatformWheel(bdist_wheel):
    """Names the platform of the programs, and no version of Python."""

    def finalize_options(self):
        super().finalize_options()
        self.root_is_pure = False

    def get_tag(self):
        return "py3", "none", super().get_tag()[2]


class WithPrograms(Distribution):
    """A distribution that belongs with what is made for one platform."""

    def has_ext_modules(self):
        return True


setup(cmdclass={"build_py": BuildPrograms, "bdist_wheel": PlatformWheel}, distclass=WithPrograms)
