"""`pip install .`: CMake builds the module zelkov._core and the shared
libraries it links, which are put into the package beside it."""
import os
import pathlib
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = pathlib.Path(__file__).resolve().parent


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        build = pathlib.Path(self.build_temp).resolve() / "cmake"
        stage = pathlib.Path(self.build_temp).resolve() / "stage"
        options = ["-DCMAKE_BUILD_TYPE=Release", f"-DPython_EXECUTABLE={sys.executable}", "-DZELKOV_BUILD_PYTHON=ON",
                   "-DZELKOV_BUILD_TESTS=OFF", "-DZELKOV_BUILD_BENCHMARKS=OFF", "-DZELKOV_BUILD_TOOLS=OFF",
                   "-DZELKOV_PYTHON_INSTALL_DIR=python"]
        subprocess.run(["cmake", "-S", str(ROOT), "-B", str(build), "-G", "Ninja", *options], check=True)
        jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL", "2")
        subprocess.run(["cmake", "--build", str(build), "--target", "zelkov_python", "-j", jobs], check=True)
        for component in ("python", "runtime"):
            subprocess.run(["cmake", "--install", str(build), "--component", component, "--prefix", str(stage)],
                           check=True)
        target = pathlib.Path(self.get_ext_fullpath(ext.name))
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(next((stage / "python" / "zelkov").glob("_core*.so")), target)
        # The libraries under their SONAME; the module and each library look beside themselves first.
        for library in stage.rglob("libZelkov.*.so.0"):
            shutil.copy2(library, target.parent / library.name)


setup(
    packages=["zelkov"],
    package_dir={"": "python"},
    package_data={"zelkov": ["py.typed", "_core.pyi"]},
    ext_modules=[Extension("zelkov._core", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
)
