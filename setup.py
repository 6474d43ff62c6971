"""Builds the compiled half of the stemstrip package with the project's own
CMake build (only the targets the module needs), then installs the module
and the core library beside stemstrip/__init__.py."""
import os
import pathlib
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = pathlib.Path(__file__).resolve().parent


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        build = pathlib.Path(self.build_temp).resolve() / "cmake"
        package = pathlib.Path(self.get_ext_fullpath(ext.name)).resolve().parent
        subprocess.run(["cmake", "-S", ROOT, "-B", build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
                        "-DBUILD_TESTING=OFF", "-DSTEMSTRIP_BENCH=OFF", "-DSTEMSTRIP_PYTHON=ON",
                        f"-DSTEMSTRIP_PYTHON_EXECUTABLE={sys.executable}"], check=True)
        subprocess.run(["cmake", "--build", build, "--target", "_stemstrip"], check=True)
        subprocess.run(["cmake", "--install", build, "--component", "python", "--prefix", package], check=True)


setup(ext_modules=[Extension("stemstrip._stemstrip", sources=[])], cmdclass={"build_ext": CMakeBuild})
