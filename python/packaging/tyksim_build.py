"""The build backend of ``pip install .``: the interpreter's own setuptools, without downloads.

pip hides the installed packages from a build. This module adds their folders again, for itself and
for the programs that the build runs.
"""

import os
import subprocess
import sys

_PATHS = "import sys; print('\\n'.join(sys.path))"

os.environ.pop("PYTHONPATH", None)
for path in subprocess.check_output([sys.executable, "-I", "-c", _PATHS], text=True).splitlines():
    if path not in sys.path:
        sys.path.append(path)

from setuptools.build_meta import *  # noqa: E402,F401,F403


def _nothing_to_fetch(config_settings=None):
    return []


get_requires_for_build_wheel = _nothing_to_fetch
get_requires_for_build_editable = _nothing_to_fetch
get_requires_for_build_sdist = _nothing_to_fetch
