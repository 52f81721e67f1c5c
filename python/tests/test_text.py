# Text that is no UTF-8, from bytes or from the caller: errors keep their class and
# their whole message, everything the module accepted it can show and give back.
import struct

import pytest
import zarvo_datatypes as z

NO_SWAP = z.Endian.no_swap


def named(text):
    return struct.pack("=I", len(text)) + text


@pytest.mark.parametrize("read, message", [
    (lambda: z.DataStorage.deserialize(struct.pack("=Q", 1) + named(b"k") + named(b"int\xff32"), NO_SWAP),
     "Unknown type string: int\\xff32 (Type registered with ZARVO_REGISTER_METATYPE(...) ?)"),
    (lambda: z.MeasPoint.deserialize(struct.pack("=HH", 1, 2) + named(b"fl\xf0at") + b"\0" * 4, NO_SWAP),
     "Unknown type string: fl\\xf0at (Type registered with ZARVO_REGISTER_METATYPE(...) ?)"),
    (lambda: z.Variant.from_string("a\0b\udcff", "1"),
     "Unknown type string: a\0b\\xff (Type registered with ZARVO_REGISTER_METATYPE(...) ?)"),
])
def test_errors_over_bytes_that_are_no_utf8_arrive_whole_as_error(read, message):
    with pytest.raises(z.Error) as raised:
        read()
    assert str(raised.value) == message and raised.value.where.endswith("TypeObject::find(..)\n")


def test_text_read_from_bytes_shows_and_round_trips():
    data = struct.pack("=Q", 1) + named(b"k\xff") + named(b"string") + named(b"v\xfe")
    storage, _ = z.DataStorage.deserialize(data, NO_SWAP)
    assert storage.keys() == list(storage) == ["k\udcff"] and storage.to_dict() == {"k\udcff": "v\udcfe"}
    assert repr(storage) == "DataStorage({'k\\udcff': <Variant string: v\\xfe>})"
    assert storage["k\udcff"].to_string() == "v\udcfe" and "k\udcff" in storage
    copy = z.DataStorage()
    copy["k\udcff"] = "v\udcfe"                              # surrogate escapes go back as the bytes
    assert copy.serialize(NO_SWAP) == data
    char = z.Variant(-53, "char")
    assert repr(char) == "<Variant char: \\xcb>" and char.to_string() == "\udccb"
    assert z.Variant.from_string("char", char.to_string()) == char
    assert repr(z.Variant("a\nb", "string")) == "<Variant string: a\\nb>"
    point = z.MeasPoint(1, 2, z.Variant("\udcf0", "string"))
    back, _ = z.MeasPoint.deserialize(point.serialize(NO_SWAP), NO_SWAP)
    assert str(back) == "(1/2) \udcf0" and repr(back) == "<MeasPoint (1/2) \\xf0>"


@pytest.mark.parametrize("record, field", [
    (z.DeviceInfo(production_date="d\udcff"), "production_date"),
    (z.DeviceInfo2(production_date="d\udcff"), "production_date"),
    (z.CalibrationInfo(certificate_number="c\udcff"), "certificate_number"),
])
def test_record_text_fields_read_from_bytes(record, field):
    back, _ = type(record).deserialize(record.serialize(NO_SWAP), NO_SWAP)
    assert getattr(back, field) == getattr(record, field) and back == record
    assert "\\xff" in repr(back) and "\udcff" in str(back)


@pytest.mark.parametrize("record, text", [
    (z.MeasPoint(), "<MeasPoint (no text form: Can not serialize empty MEAS POINT!)>"),
    (z.MeasArea(), "<MeasArea (no text form: Can not serialize empty MEAS POINT!)>"),
    (z.MeasArea(1, 2, 3, 4, z.MeasPoint(0, 0, z.Variant(1, "int8")), z.MeasPoint(0, 0, z.Variant(2, "int8")),
                z.Variant(3, "int8")), "<MeasArea (1/2) (3 x 4 )1 , 2 , 3>"),
])
def test_repr_never_raises(record, text):
    assert repr(record) == text


def test_every_constructor_has_a_docstring():
    for cls in (z.CalibrationInfo, z.DeviceInfo, z.DeviceInfo2, z.ProbeValue, z.Version, z.VersionExtended,
                z.MeasPoint, z.MeasArea, z.MarkedFloat, z.MaterialNumber, z.Frame, z.DataStorage, z.Variant):
        lines = cls.__init__.__doc__.splitlines() + ["", ""]
        signatures = [i for i, line in enumerate(lines) if "__init__(self" in line]
        assert signatures and all(lines[i + 2] and "__init__(self" not in lines[i + 2] for i in signatures), cls


@pytest.mark.parametrize("make, error, message", [
    (lambda: z.ProbeValue(1.0, 200), OverflowError, "200 is out of the range of int8"),
    (lambda: z.Version(-1), OverflowError, "-1 is out of the range of uint32"),
    (lambda: z.DeviceInfo(2**64), OverflowError, "18446744073709551616 is out of the range of uint64"),
    (lambda: z.MeasPoint(70000, 0, z.Variant(1, "int8")), OverflowError, "70000 is out of the range of uint16"),
    (lambda: z.CalibrationInfo(1.5), TypeError, "an integer value needs an int, not float"),
    (lambda: setattr(z.DeviceInfo2(), "board_index", 256), OverflowError, "256 is out of the range of uint8"),
])
def test_record_numbers_out_of_range(make, error, message):
    with pytest.raises(error) as raised:
        make()
    assert str(raised.value) == message
