# The module under test is the one built in the build folder, which ctest names in
# ZARVO_PYTHON_MODULE_DIR; without it, the installed one is imported.
import os
import sys

import pytest

_module_dir = os.environ.get("ZARVO_PYTHON_MODULE_DIR")
if _module_dir:
    sys.path.insert(0, _module_dir)

import zarvo_datatypes  # noqa: E402


@pytest.fixture(params=[zarvo_datatypes.Endian.no_swap, zarvo_datatypes.Endian.swap], ids=["no_swap", "swap"])
def endian(request):
    return request.param


@pytest.fixture
def struct_order(endian):
    """The struct byte-order character of an Endian on this machine."""
    host = "<" if sys.byteorder == "little" else ">"
    return host if endian == zarvo_datatypes.Endian.no_swap else {"<": ">", ">": "<"}[host]
