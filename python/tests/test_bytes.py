# Byte forms against Python's own tools, in both byte orders.
import os
import struct

import numpy as np
import pytest
import zarvo_datatypes as z


@pytest.mark.parametrize("name, code", [("vecfloat", "f4"), ("vecdouble", "f8")])
def test_vectors_written_by_numpy_read_back_equal(endian, struct_order, name, code):
    numbers = [1.5, -0.0, -7.75e8, float("inf")]
    data = struct.pack(struct_order + "I", len(numbers)) + np.asarray(numbers, dtype=struct_order + code).tobytes()
    value, used = z.Variant.deserialize(name, data, endian)
    assert used == len(data) and value.value.tolist() == numbers
    assert value.serialize(endian) == data


@pytest.mark.parametrize("name, value, layout", [
    ("int32", -2, "i"), ("uint16", 0xABCD, "H"), ("double", 0.5, "d"), ("int64", -(2**40), "q"),
])
def test_scalars_have_the_struct_layout(endian, struct_order, name, value, layout):
    assert z.Variant(value, name).serialize(endian) == struct.pack(struct_order + layout, value)


def test_string_form_is_count_and_utf8(endian, struct_order):
    assert z.Variant("äb", "string").serialize(endian) == struct.pack(struct_order + "I", 3) + "äb".encode()


def read_fixture():
    data = open(os.environ["ZARVO_STORAGE_FIXTURE"], "rb").read()
    first, used = z.DataStorage.deserialize(data, z.Endian.no_swap)
    second, rest = z.DataStorage.deserialize(memoryview(data)[used:], z.Endian.swap)
    assert used + rest == len(data)
    return first, second


@pytest.mark.skipif("ZARVO_STORAGE_FIXTURE" not in os.environ, reason="needs the file the C++ fixture writes")
def test_storage_written_by_cpp_reads_back_to_the_same_dict():
    for storage in read_fixture():
        as_dict = storage.to_dict()
        gains = as_dict.pop("gains")
        assert gains.dtype == np.float32 and gains.tolist() == [0.5, -2.0, 8.25]
        assert as_dict == {"camera": {"lens": {"focal": 12.5}, "serial": 4711}, "count": -7, "name": "probe A"}
        assert storage.get("camera.serial").type_name == "uint64"


def test_storage_bytes_round_trip_and_bounds(endian, struct_order):
    storage = z.DataStorage.from_dict({"a": z.Variant(1, "uint8"), "g": {"t": "x"}})
    data = storage.serialize(endian)
    assert data[:8] == struct.pack(struct_order + "Q", 2)
    back, used = z.DataStorage.deserialize(bytearray(data), endian)
    assert back == storage and used == len(data)
    for cut in (0, 7, 8, len(data) - 1):
        with pytest.raises(z.Error):
            z.DataStorage.deserialize(data[:cut], endian)
    with pytest.raises(z.Error):
        z.DataStorage.deserialize(b"\xff" * 8, endian)  # counts more entries than bytes
