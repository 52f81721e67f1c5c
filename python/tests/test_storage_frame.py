import copy
from collections.abc import MutableMapping

import numpy as np
import pytest
import zarvo_datatypes as z


def test_storage_keys_paths_and_dicts():
    storage = z.DataStorage()
    assert storage.insert("b.c", 2) and storage.insert("a", z.Variant(1, "int16"))
    assert not storage.insert("a", 5)                     # never replaces
    assert storage.insert("v", [1, 2], "vecuint8")
    assert list(storage) == storage.keys() == ["a", "b", "v"] and len(storage) == 3
    assert "b.c" in storage and "b.x" not in storage and "a.x" not in storage
    assert storage["b.c"] == z.Variant(2, "int64") and storage.get("nothing") is None
    with pytest.raises(KeyError):
        storage["nothing"]
    assert storage.get("b").type_name == "storage"
    variants = storage.to_dict(variants=True)
    assert variants["a"].type_name == "int16" and variants["b"]["c"].type_name == "int64"
    assert z.DataStorage.from_dict(variants) == storage
    del storage["b"]
    assert storage.keys() == ["a", "v"]
    with pytest.raises(KeyError):
        del storage["b"]


def test_from_dict_guesses_types():
    storage = z.DataStorage.from_dict({
        "flag": True, "big": 2**63, "n": -1, "x": 1.0, "s": "t", "names": ["p", "q"],
        "f32": np.float32(2), "ints": [1, 2], "vec": np.zeros(3, np.uint16), "img": np.zeros((2, 2, 3), np.uint8),
        "i8": np.int8(1), "bits": np.array([True]),
    })
    names = {key: storage[key].type_name for key in storage}
    assert names == {"flag": "bool", "big": "uint64", "n": "int64", "x": "double", "s": "string",
                     "names": "vecstring", "f32": "float", "ints": "vecint64", "vec": "vecuint16", "img": "cvmat",
                     "i8": "int8", "bits": "vecbool"}
    with pytest.raises(TypeError, match="no registered type is guessed for a object"):
        z.DataStorage.from_dict({"o": object()})
    with pytest.raises(TypeError, match="a storage key is a str"):
        z.DataStorage.from_dict({1: 2})
    with pytest.raises(z.Error):  # the path runs on behind a value
        z.DataStorage.from_dict({"a": 1, "a.b": 2})


def test_frame_shares_pixels_both_ways():
    pixels = np.zeros((4, 6), np.uint8)
    frame = z.Frame(pixels, {"camera": {"serial": 4711}})
    pixels[1, 2] = 7
    image = frame.image
    assert image[1, 2] == 7 and np.shares_memory(image, pixels)
    shared, copied = frame.shared_copy(), frame.copy()
    image[0, 0] = 1
    assert shared.image[0, 0] == 1 and copied.image[0, 0] == 0
    assert copy.copy(frame).image[0, 0] == 1 and copy.deepcopy(frame).image[0, 0] == 1
    frame.image = np.full((4, 6), 9, np.uint8)           # same size: written into the shared buffer
    assert pixels[3, 5] == 9 and shared.image[3, 5] == 9
    frame.image = np.zeros((2, 2), np.uint8)             # other size: a buffer of its own
    assert pixels[3, 5] == 9 and frame.image.shape == (2, 2)
    del frame, shared
    assert image[3, 5] == 9


def test_frame_metadata_is_the_frames_own():
    frame = z.Frame(np.zeros((1, 1), np.float32))
    assert frame.metadata.keys() == [] and not frame.is_empty()
    frame.metadata.insert("a.b", 1.5)
    metadata = frame.metadata
    del frame
    assert metadata.to_dict() == {"a": {"b": 1.5}}       # the view keeps the frame alive
    assert z.Frame().is_empty()
    with pytest.raises(TypeError, match="^frame metadata are a dict or a DataStorage, not int$"):
        z.Frame(np.zeros((1, 1)), metadata=5)


def test_storage_is_a_mutable_mapping():
    storage = z.DataStorage()
    assert isinstance(storage, MutableMapping)
    storage["a.b"] = 1                                     # dotted keys make the groups
    storage["a.b"] = 2.5                                   # and replace what is there
    storage["v"] = z.Variant(3, "uint8")                   # a Variant as given
    storage["g"] = {"t": "x"}                              # a dict as a group
    storage["n"] = np.arange(3, dtype=np.int16)
    assert {key: storage[key].type_name for key in ["a.b", "v", "g.t", "n"]} == {
        "a.b": "double", "v": "uint8", "g.t": "string", "n": "vecint16"}
    assert [key for key, _ in storage.items()] == ["a", "g", "n", "v"] and len(storage.values()) == 4
    assert storage.get("missing", 5) == 5 and storage.get("a.b") == z.Variant(2.5, "double")
    storage.update({"v": 4}, w=True)
    assert storage["v"] == z.Variant(4, "int64") and storage.pop("w") == z.Variant(True, "bool")
    assert storage.setdefault("v", 9) == z.Variant(4, "int64")
    del storage["a.b"]
    assert storage.to_dict()["a"] == {} and "a.b" not in storage
    with pytest.raises(KeyError):
        storage.pop("a.b")
    before = storage.serialize(z.Endian.no_swap)
    with pytest.raises(z.Error):                          # the path runs on behind a value
        storage["v.x"] = 1
    with pytest.raises(TypeError):
        storage["o"] = object()
    assert storage.serialize(z.Endian.no_swap) == before   # nothing changed


def test_mean_value_of_an_area():
    point = z.MeasPoint(0, 0, z.Variant(1, "int8"))
    area = z.MeasArea(1, 2, 3, 4, point, point, z.Variant(36.5, "double"))
    assert area.mean_value == z.Variant(36.5, "double") and z.MeasArea().mean_value is None
    area.mean_value = z.Variant(7, "int32")
    assert str(area) == "(1/2) (3 x 4 )1 , 1 , 7" and area.mean_value.type_name == "int32"
