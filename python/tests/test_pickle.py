# Pickling and copying through the byte forms; pixels and numbers out of band with protocol 5.
import copy
import os
import pickle
import re

import numpy as np
import pytest
import zarvo_datatypes as z

from test_readme import README

POINT = z.MeasPoint(3, 4, z.Variant(2.5, "float"))
OBJECTS = [
    z.Variant(7, "uint8"), z.Variant("t\udcff", "string"), z.Variant([1.5, -2.0], "vecfloat"),
    z.Variant([True, False], "vecbool"), z.Variant(["a", "b"], "liststring"), z.Variant((1, 2, 3, 4), "cvrect"),
    z.DataStorage.from_dict({"a": {"b": 1}, "k\udcff": z.Variant(2, "int16"), "img": np.ones((2, 2), np.uint8)}),
    z.MarkedFloat(1.5, z.MarkedFloat.Validity.Overrange), z.Version(1, 2, 3), z.VersionExtended(1, 2, 3, 4),
    z.ProbeValue(1.5, -2, 200), z.DeviceInfo(1, 2, 3, 4, "2024"), z.DeviceInfo2(1, 2, 3, 4, 5, "2024"),
    z.MaterialNumber("1234 5678 90"), z.CalibrationInfo(1, "CERT-1", 100, 50, 0xBEEF), POINT,
    z.MeasArea(1, 2, 3, 4, POINT, POINT, z.Variant(37.0, "double")),
]


def same(left, right):
    """Equal, by the byte form where equality does not reach (cvmat, a mean value compared by identity)."""
    assert type(left) is type(right)
    return left.serialize(z.Endian.no_swap) == right.serialize(z.Endian.no_swap)


@pytest.mark.parametrize("value", OBJECTS, ids=lambda o: type(o).__name__)
def test_pickle_and_copy_through_the_byte_form(value):
    for protocol in (2, pickle.HIGHEST_PROTOCOL):
        assert same(pickle.loads(pickle.dumps(value, protocol)), value)
    for copied in (copy.copy(value), copy.deepcopy(value)):
        assert same(copied, value) and copied is not value
    if isinstance(value, z.Variant):
        assert pickle.loads(pickle.dumps(value)).type_name == value.type_name


def test_pixels_and_numbers_travel_out_of_band():
    pixels, numbers = np.arange(480 * 640, dtype=np.uint16).reshape(480, 640), np.arange(1000, dtype=np.float32)
    for value, array in [(z.Variant(pixels, "cvmat"), pixels), (z.Variant(numbers, "vecfloat"), numbers),
                         (z.Frame(pixels, {"camera": {"serial": 4711}}), pixels)]:
        buffers = []
        data = pickle.dumps(value, protocol=5, buffer_callback=buffers.append)
        assert len(buffers) == 1 and buffers[0].raw().nbytes == array.nbytes and len(data) < 1000
        shared = bytearray(buffers[0].raw())
        for given in (buffers, [shared]):  # the pickler's own buffers, and a writable copy of them
            back = pickle.loads(data, buffers=given)
            assert np.array_equal(back.image if isinstance(back, z.Frame) else np.asarray(back), array)
    assert np.shares_memory(back.image, np.frombuffer(shared, np.uint16))  # the frame's pixels are the buffer itself
    assert back.metadata.to_dict() == {"camera": {"serial": 4711}} and repr(back) == (
        "Frame 640x480 CV_16UC1, metadata: camera")


def test_frame_repr_and_version():
    assert repr(z.Frame()) == "Frame 0x0 CV_8UC1, metadata: none"
    assert repr(z.Frame(np.zeros((2, 3, 3), np.float32), {"a": 1, "b": 2})) == "Frame 3x2 CV_32FC3, metadata: a, b"
    project = os.path.join(os.path.dirname(README), "CMakeLists.txt")
    assert re.search(r"project\(zarvo_datatypes VERSION (\S+)", open(project).read()).group(1) == z.__version__
