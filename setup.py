"""Builds the package tyksim by CMake, with what the system has; nothing is downloaded."""

import os
import pathlib
import shutil
import subprocess
import sys

from setuptools import Distribution, setup
from setuptools.command.build_py import build_py

SOURCE = pathlib.Path(__file__).parent.resolve()


class Build(build_py):
    """Builds the module beside the Python files."""

    def run(self) -> None:
        if self.editable_mode:
            sys.exit("expected an ordinary installation: a build with CMake can be imported from "
                     "its folder, see docs/python.md")
        super().run()
        folder = pathlib.Path(self.build_lib).resolve().parent / "cmake"
        if shutil.which("ninja"):
            os.environ.setdefault("CMAKE_GENERATOR", "Ninja")
        subprocess.check_call([
            "cmake", "-S", SOURCE, "-B", folder, "-DCMAKE_BUILD_TYPE=Release",
            "-DTYK_BUILD_PYTHON=ON", f"-DPython_EXECUTABLE={sys.executable}",
        ])
        jobs = str(os.cpu_count() or 1)
        subprocess.check_call(
            ["cmake", "--build", folder, "--target", "tyksim_python", "--parallel", jobs]
        )
        for module in (folder / "python" / "tyksim").glob("_core*.so"):
            self.copy_file(str(module), os.path.join(self.build_lib, "tyksim", module.name))


class WithModule(Distribution):
    """Its files depend on the machine."""

    def has_ext_modules(self) -> bool:
        return True


setup(cmdclass={"build_py": Build}, distclass=WithModule)
