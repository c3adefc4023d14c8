"""Builds the compiled core with the project's CMake and puts it, with the libraries it needs, into the package."""

import pathlib
import re
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

PROJECT = pathlib.Path(__file__).resolve().parent.parent


def version() -> str:
    text = (PROJECT / "CMakeLists.txt").read_text(encoding="utf-8")
    return re.search(r"project\(DataIO VERSION ([0-9.]+)", text)[1]


class BuildWithCMake(build_ext):
    def build_extension(self, ext: Extension) -> None:
        package = pathlib.Path(self.get_ext_fullpath(ext.name)).resolve().parent
        build = pathlib.Path(self.build_temp).resolve()
        stage = build / "stage"
        options = {
            "CMAKE_BUILD_TYPE": "Debug" if self.debug else "Release",
            "CMAKE_INSTALL_LIBDIR": "vqf",  # beside the core, which looks there ...
            "CMAKE_BUILD_WITH_INSTALL_RPATH": "ON",  # ... already as built
            "DATAIO_PYTHON": "ON",
            "DATAIO_PYTHON_DIR": ".",
            "DATAIO_TESTS": "OFF",
            "DATAIO_EXAMPLES": "OFF",
            "Python_EXECUTABLE": sys.executable,
        }
        values = [f"-D{name}={value}" for name, value in options.items()]
        subprocess.run(["cmake", "-S", PROJECT, "-B", build, "-G", "Ninja", *values], check=True)
        subprocess.run(["cmake", "--build", build, "--target", "vqf_core"], check=True)
        subprocess.run(["cmake", "--install", build, "--component", "python", "--prefix", stage], check=True)
        package.mkdir(parents=True, exist_ok=True)
        for core in (stage / "vqf").glob("_core.*.so"):
            shutil.copy2(core, package)
        for library in build.glob("*/libdataio*.so.[0-9]"):
            shutil.copy2(library, package)


setup(version=version(), ext_modules=[Extension("vqf._core", [])], cmdclass={"build_ext": BuildWithCMake})
