import gc
import math
import operator
import struct

import numpy as np
import pytest
import zarvo_datatypes as z

NO_SWAP = z.Endian.no_swap


def test_registry_lists_builtin_names_in_order_and_the_storage_holder():
    names = z.type_names()
    assert names[:10] == ["bool", "char", "int8", "uint8", "int16", "uint16", "int32", "uint32", "void", "vecbool"]
    assert names[40:46] == ["cvmat", "cvsize", "cvpoint", "cvrect", "veccvmat", "listcvmat"]
    assert "storage" in names[46:]


@pytest.mark.parametrize("name, value, text, python", [
    ("bool", True, "1", True),
    ("int8", -128, "-128", -128),
    ("uint64", 2**64 - 1, "18446744073709551615", 2**64 - 1),
    ("double", 0.1, "0.1", 0.1),
    ("string", "grüße", "grüße", "grüße"),
    ("listint16", [1, -2], "1;-2;", [1, -2]),
    ("vecstring", ["a", "b"], "a;b;", ["a", "b"]),
    ("cvpoint", (3, -4), "3:-4", (3, -4)),
])
def test_values_from_python_and_text_agree(name, value, text, python):
    built = z.Variant(value, name)
    assert built.type_name == name and built.value == python
    assert built.to_string() == text
    assert z.Variant.from_string(name, text) == built
    assert repr(built) == f"<Variant {name}: {text}>"


# A Python value per element type (7 for the integers); a vector or list name gets two of them.
ELEMENTS = {"bool": True, "float": 1.5, "double": 0.1, "string": "grüße", "cvsize": (10, 20), "cvpoint": (3, -4),
            "cvrect": (1, 2, 3, 4), "cvmat": np.arange(6, dtype=np.int16).reshape(2, 3), "storage": {"a": {"s": "x"}}}


def plain(value):
    """Arrays, storages and lists of them as lists and dicts, to compare with what went in."""
    if isinstance(value, list):
        return [plain(item) for item in value]
    return value.tolist() if isinstance(value, np.ndarray) else value.to_dict() if isinstance(value, z.DataStorage) \
        else value


@pytest.mark.parametrize("name", [name for name in z.type_names() if name != "void"])
def test_every_registered_name_round_trips_through_python(name):
    element = name.removeprefix("vec").removeprefix("list")
    python = ELEMENTS.get(element, 7) if element == name else [ELEMENTS.get(element, 7)] * 2
    value = z.Variant(python, name)
    back = z.Variant(value.value, name)
    assert back.type_name == name and plain(value.value) == plain(back.value) == plain(python)


def test_vectors_come_as_numpy_arrays_of_their_dtype():
    for name, dtype in [("vecuint16", np.uint16), ("vecint64", np.int64), ("vecfloat", np.float32),
                        ("vecdouble", np.float64), ("vecbool", np.bool_)]:
        value = z.Variant([True, False, True] if dtype is np.bool_ else [1, 2, 3], name).value
        assert value.dtype == dtype and value.tolist() == ([True, False, True] if dtype is np.bool_ else [1, 2, 3])
    assert z.Variant((10, 20), "cvsize").value == (10, 20)
    assert z.Variant([1, 2, 3, 4], "cvrect").value == (1, 2, 3, 4)


def test_equality_is_the_librarys():
    assert z.Variant(5, "int32") == z.Variant(5, "uint8")  # integers by value across types
    assert z.Variant(5.0, "double") != z.Variant(5.0, "float")
    assert z.Variant(5, "int32") != 5
    with pytest.raises(z.Error, match="no comparison operator"):
        z.Variant(np.zeros((2, 2), np.uint8), "cvmat") == z.Variant(np.zeros((2, 2), np.uint8), "cvmat")


@pytest.mark.parametrize("value, name, error, message", [
    (1.5, "int32", TypeError, "an integer value needs an int, not float"),
    (None, "double", TypeError, "a float value needs a number, not NoneType"),
    ("1", "double", TypeError, "a float value needs a number, not str"),
    (1, "string", TypeError, "a string value needs a str, not int"),
    (1, "bool", TypeError, "a bool value needs True or False, not int"),
    (256, "uint8", OverflowError, "256 is out of the range of uint8"),
    (-1, "uint64", OverflowError, "-1 is out of the range of uint64"),
    ([1.5], "vecint32", TypeError, "a vector of int32 cannot hold dtype float64"),
    ([70000], "vecint16", OverflowError, "70000 is out of the range of int16"),
    ([[1]], "vecint32", ValueError, "a vector needs 1 axis, not 2"),
    ([-2**63 - 1], "vecint64", OverflowError, "-9223372036854775809 is out of the range of int64"),
    ([2**64], "vecuint64", OverflowError, "18446744073709551616 is out of the range of uint64"),
    (2**1024, "double", OverflowError, f"{2**1024} is out of the range of double"),
    (1e39, "float", OverflowError, "1e+39 is out of the range of float"),
    (-3.4028235677973366e38, "float", OverflowError, "-3.4028235677973366e+38 is out of the range of float"),
    (np.array([0.0, -1e39]), "vecfloat", OverflowError, "-1e+39 is out of the range of float"),
    ((1, 2, 3), "cvpoint", TypeError, "cvpoint needs a sequence of 2 ints, not tuple"),
    (np.zeros((2, 2, 2, 2)), "cvmat", ValueError, "a matrix is made from 1 to 3 axes (rows, columns, channels), not 4"),
    (np.array([2**40]), "cvmat", OverflowError, "a matrix holds int64 elements as int32, and these do not fit"),
    (np.array(["a"]), "cvmat", TypeError, "a matrix has no element type for dtype <U1"),
    (None, "void", TypeError, "no Python form for the type 'void': use its text form (from_string, to_string)"),
])
def test_wrong_python_objects_raise_exactly(value, name, error, message):
    with pytest.raises(error) as raised:
        z.Variant(value, name)
    assert str(raised.value) == message


def test_library_errors_carry_message_and_where():
    with pytest.raises(z.Error) as raised:
        z.Variant.from_string("Int32", "1")
    assert str(raised.value) == "Unknown type string: Int32 (Type registered with ZARVO_REGISTER_METATYPE(...) ?)"
    assert raised.value.where.endswith("zarvo::exp::TypeObject::find(..)\n")
    assert isinstance(raised.value, Exception)
    with pytest.raises(z.Error, match="^Mat only serializable for no_swap endianes$"):
        z.Variant(np.zeros((1, 1), np.uint8), "cvmat").serialize(z.Endian.swap)


@pytest.mark.parametrize("name, data", [
    ("int32", b"\x01\x02"),                       # truncated
    ("vecfloat", b"\xff\xff\xff\x7f"),            # hostile count
    ("string", b"\x10\x00\x00\x00abc"),
    ("cvmat", b"\x02\x00\x00\x00\xff\xff\xff\x7f\xff\xff\xff\x7f\x00\x00\x00\x00\x01\x00\x00\x00\x01\x00\x00\x00"),
    ("veccvmat", b"\xff\xff\xff\xff"),
])
def test_hostile_bytes_raise_and_leave_the_interpreter_alive(name, data):
    for source in (data, bytearray(data), memoryview(data), np.frombuffer(data, np.uint8)):
        with pytest.raises(z.Error):
            z.Variant.deserialize(name, source, NO_SWAP)
    with pytest.raises(TypeError):
        z.Variant.deserialize(name, None, NO_SWAP)
    with pytest.raises(ValueError, match="not C-contiguous"):  # numpy's own refusal
        z.Variant.deserialize(name, np.zeros(8, np.uint8)[::2], NO_SWAP)


def test_deserialize_reports_bytes_used_and_void():
    assert z.Variant.deserialize("int16", b"\x01\x02rest", z.Endian.swap) == (z.Variant(0x0102, "int16"), 2)
    assert z.Variant.deserialize("void", b"abc", NO_SWAP) == (None, 0)
    assert z.Variant.from_string("void", "x") is None


def test_cvmat_value_shares_pixels_and_outlives_the_variant():
    pixels = np.arange(24, dtype=np.uint16).reshape(2, 3, 4)
    value = z.Variant(pixels, "cvmat")
    view = value.value
    assert view.shape == (2, 3, 4) and view.dtype == np.uint16
    pixels[1, 2, 3] = 999                            # built without a copy
    assert view[1, 2, 3] == 999
    del value, pixels
    gc.collect()
    assert view[1, 2, 3] == 999 and view.sum() == sum(range(23)) + 999


def test_cvmat_copies_what_it_cannot_share():
    for source, dtype in [(np.arange(6, dtype=np.uint8).reshape(2, 3).T, np.uint8),   # not C-contiguous
                          (np.array([[True, False]]), np.uint8),                       # no OpenCV depth
                          (np.arange(4, dtype=">f4").reshape(2, 2), np.float32),        # foreign byte order
                          (np.frombuffer(bytes(4), np.uint8).reshape(2, 2), np.uint8)]:  # read-only
        value = z.Variant(source, "cvmat").value
        assert value.dtype == dtype and np.array_equal(value, source.astype(dtype))
        assert not np.shares_memory(value, source)
    assert z.Variant(np.arange(3, dtype=np.int8), "cvmat").value.shape == (3, 1)
    assert z.Variant(np.zeros((0, 4), np.float64), "cvmat").value.shape == (0, 4)


def test_cvmat_bytes_read_by_struct_and_numpy():
    pixels = (np.arange(12, dtype=np.float32) - 5.5).reshape(2, 3, 2)
    data = z.Variant(pixels, "cvmat").serialize(NO_SWAP)
    assert struct.unpack("=Iiiiii", data[:24]) == (2, 2, 3, 5, 2, 4)  # dims, rows, cols, depth CV_32F, channels, size
    assert len(data) == 24 + pixels.nbytes
    assert np.array_equal(np.frombuffer(data, np.float32, offset=24).reshape(2, 3, 2), pixels)
    back, used = z.Variant.deserialize("cvmat", data, NO_SWAP)
    assert used == len(data) and np.array_equal(back.value, pixels)


def test_floats_at_the_edge_round_as_struct_does():
    for number in (3.4028235e38, -3.4028235e38, float("inf"), -float("inf")):
        assert z.Variant(number, "float").value == struct.unpack("f", struct.pack("f", number))[0]
    assert math.isnan(z.Variant(float("nan"), "float").value)
    assert z.Variant(np.array([np.nan, np.inf, 1e300]), "vecdouble").value[2] == 1e300


def test_any_iterable_fills_vectors_and_lists():
    for name in ("vecint32", "listint32", "vecdouble"):
        assert list(z.Variant((i for i in range(3)), name).value) == [0, 1, 2]
    assert list(z.Variant({7}, "vecuint8").value) == [7]


def test_strict_reader_refuses_with_a_value_error_naming_type_and_text():
    assert z.Variant.parse("uint8", "255") == z.Variant(255, "uint8")
    with pytest.raises(ValueError) as raised:
        z.Variant.parse("uint8", "300")
    assert isinstance(raised.value, z.Error) and isinstance(raised.value, z.ParseError)
    assert str(raised.value) == 'Can not read uint8 (unsigned char) from "300": expected a decimal whole number from 0 to 255'
    assert z.Variant.from_string("uint8", "300").value == 44  # the lenient reader keeps the low bits


def test_endian_names_the_byte_order():
    big = z.Variant(1, "uint16").serialize(z.Endian.big_endian)
    assert big == b"\x00\x01" and z.Variant(1, "uint16").serialize(z.Endian.little_endian) == b"\x01\x00"
    assert {z.Endian.big_endian, z.Endian.little_endian} == {z.Endian.swap, z.Endian.no_swap}


def test_values_act_as_the_numbers_and_arrays_they_hold():
    assert bool(z.Variant(False, "bool")) is False and bool(z.Variant(0.0, "double")) is False
    assert bool(z.Variant(2, "int8")) and not z.Variant([], "vecint32") and not z.Variant("", "string")
    assert int(z.Variant(-2.7, "double")) == -2 and float(z.Variant(3, "uint64")) == 3.0
    assert operator.index(z.Variant(5, "uint8")) == 5 and [10, 20, 30][z.Variant(1, "int64")] == 20
    for call, value, message in [(int, z.Variant("1", "string"), "int() needs a number value, not string"),
                                 (operator.index, z.Variant(1.0, "float"), "index() needs an integral value, not float"),
                                 (len, z.Variant(1, "int32"), "a int32 value is no sequence")]:
        with pytest.raises(TypeError) as raised:
            call(value)
        assert str(raised.value) == message
    numbers = z.Variant([1.5, 2.5, 3.5], "vecfloat")
    assert len(numbers) == 3 and list(numbers) == [1.5, 2.5, 3.5] and numbers[-1] == 3.5 and numbers[1:].tolist() == [2.5, 3.5]
    names = z.Variant(["a", "b"], "liststring")
    assert len(names) == 2 and list(names) == ["a", "b"] and names[1] == "b"
    view = np.asarray(numbers)
    assert view.dtype == np.float32 and not view.flags.writeable
    assert np.shares_memory(view, np.asarray(numbers))     # no copy: both are the value's own numbers
    pixels = np.arange(6, dtype=np.uint8).reshape(2, 3)
    assert np.shares_memory(np.asarray(z.Variant(pixels, "cvmat")), pixels)
    assert np.asarray(z.Variant([1, 2], "vecint16"), np.float64).tolist() == [1.0, 2.0]
    assert numbers.__array__(copy=True).flags.writeable and not np.shares_memory(numbers.__array__(copy=True), view)
