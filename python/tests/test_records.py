import math
import struct

import pytest
import zarvo_datatypes as z


def test_marked_float_marks_travel_through_arithmetic():
    MF = z.MarkedFloat
    under, over = MF(2.0, MF.Validity.Underrange), MF(1.0, MF.Validity.Overrange)
    assert str(under) == "2 (Underrange)" and under.is_underrange and not under.is_valid
    assert (under - MF(1.0, MF.Validity.Underrange)).is_overrange is False
    assert (under + over).is_valid is False and str(under + over).endswith("(Invalid)")
    assert (MF(4.0) - over).is_underrange                 # the right mark is mirrored for -
    assert (MF(4.0) / 2.0).is_valid and float(MF(4.0) / 2.0) == 2.0
    assert MF().is_empty and MF() != MF()                 # a NaN equals nothing
    assert under == 2.0 and under < 3.0                   # comparisons ignore the marks
    assert MF(16.0).apply(math.sqrt).value == 4.0
    assert MF(5.0).check_range(0.0, 4.0) is False
    with pytest.raises(ValueError, match="^Minimum greater than maximum.$"):
        MF(1.0).check_range(2.0, 1.0)


def test_marked_float_word(endian, struct_order):
    data = z.MarkedFloat().serialize(endian)
    assert data == struct.pack(struct_order + "I", 0x7FC00007)
    assert z.MarkedFloat.deserialize(data, endian)[0].is_empty
    with pytest.raises(z.Error):
        z.MarkedFloat.deserialize(data[:3], endian)


RECORDS = [
    (z.Version(1, 2, 3), 12),
    (z.VersionExtended(1, 2, 3, 4), 16),
    (z.ProbeValue(1.5, -2, 200), 6),
    (z.DeviceInfo(1, 2, 3, 4, "2024-01-31"), 36),
    (z.DeviceInfo2(1, 2, 3, 4, 5, "2024"), 30),
    (z.MaterialNumber("1234 5678 90"), 17),
    (z.CalibrationInfo(1, "CERT-1", 100, 50, 0xBEEF), 32),
    (z.MeasPoint(3, 4, z.Variant(2.5, "float")), 17),
]


@pytest.mark.parametrize("record, size", RECORDS, ids=lambda r: type(r).__name__ if not isinstance(r, int) else "")
def test_records_round_trip_and_refuse_short_input(endian, record, size):
    data = record.serialize(endian)
    assert len(data) == size
    back, used = type(record).deserialize(data + b"tail", endian)
    assert back == record and used == size and str(back) == str(record)
    with pytest.raises(z.Error):
        type(record).deserialize(data[:-1], endian)
    with pytest.raises(TypeError):
        type(record).deserialize(None, endian)


def test_record_fields_and_layouts(struct_order, endian):
    version = z.Version(1, 2, 3)
    version.patch = 9
    assert (version.major, version.minor, version.patch) == (1, 2, 9) and str(version) == "1.02.09"
    assert version.serialize(endian) == struct.pack(struct_order + "III", 1, 2, 9)
    assert z.Version(1, 2, 3) < z.Version(1, 3, 0)
    probe = z.ProbeValue(0.5, -1, 7)
    assert probe.serialize(endian) == struct.pack(struct_order + "fbB", 0.5, -1, 7)
    point = z.MeasPoint(1, 2, z.Variant(7, "int32"))
    assert point.value == z.Variant(7, "int32") and (point.x, point.y) == (1, 2)
    area = z.MeasArea(1, 2, 3, 4, point, point, z.Variant(37.0, "double"))
    assert str(area) == "(1/2) (3 x 4 )7 , 7 , 37"
    data = area.serialize(endian)
    assert data[-18:] == struct.pack(struct_order + "I6sd", 6, b"double", 37.0) and len(data) == 8 + 2 * 17 + 18
    assert z.MeasArea.deserialize(data, endian)[0].serialize(endian) == data
    calibration = z.CalibrationInfo(2, "C", -2, 0, 1)
    assert calibration.expire_date == 4294967294
    assert z.CalibrationInfo.from_buffer(z.CalibrationInfo.to_buffer([calibration, calibration])) == [calibration] * 2
    with pytest.raises(OverflowError, match="^200 is out of the range of int8$"):
        z.ProbeValue(1.0, 200)                            # precision is a signed char


def test_material_number_errors_become_python_ones():
    number = z.MaterialNumber(12345678)
    assert number.to_string() == "1234 5678" and number.to_integer() == 12345678 and not number.has_ident
    with pytest.raises(ValueError):
        z.MaterialNumber("12a4 5678")
    with pytest.raises(ValueError):
        z.MaterialNumber("1234 5678 901")
    with pytest.raises(RuntimeError):
        z.MaterialNumber("1234 5678", z.MaterialNumber.NumberType.alphanumeric)
