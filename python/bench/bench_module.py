"""Times the module against numpy in one process and prints the ratios.

Run by `make bench-python` (the build folder's module on PYTHONPATH). Each figure is the
best of several timeit repeats, so a busy machine shows in both sides of a ratio alike.
"""
import pickle
import threading
import time
import timeit

import numpy as np
import zarvo_datatypes as z


def best(statement, number, **names):
    """Seconds per call: the fastest of five repeats of number calls."""
    return min(timeit.repeat(statement, globals=names, number=number, repeat=5)) / number


def report(label, seconds, baseline=None, baseline_label=""):
    ratio = f"  ratio {seconds / baseline:5.2f} against {baseline_label}" if baseline else ""
    print(f"{label:<58} {seconds * 1e6:10.2f} us{ratio}")


def image_access():
    print("== pixels without a copy: frame.image and a cvmat's value")
    small = None
    for rows, cols in [(64, 64), (1080, 1920), (4096, 4096)]:
        pixels = np.zeros((rows, cols), np.uint8)
        frame, value = z.Frame(pixels), z.Variant(pixels, "cvmat")
        frame_time = best("frame.image", 20000, frame=frame)
        value_time = best("value.value", 20000, value=value)
        small = small or (frame_time, value_time)
        report(f"frame.image {rows} x {cols}", frame_time, small[0], "64 x 64")
        report(f"Variant.value (cvmat) {rows} x {cols}", value_time, small[1], "64 x 64")


def vector_bytes():
    print("== 1,000,000-element vecfloat")
    numbers = np.random.default_rng(1).random(1_000_000, dtype=np.float32)
    value = z.Variant(numbers, "vecfloat")
    tobytes = best("numbers.tobytes()", 200, numbers=numbers)
    for endian in (z.Endian.no_swap, z.Endian.swap):
        report(f"serialize {endian.name}", best("value.serialize(e)", 200, value=value, e=endian), tobytes,
               "ndarray.tobytes()")
    # numpy's own way to read the same bytes: a copy in host order, a byte-swapping
    # conversion from the other order.
    host = np.dtype(np.float32)
    baselines = {z.Endian.no_swap: ("np.frombuffer(data, host, offset=4).copy()", "np.frombuffer().copy()"),
                 z.Endian.swap: ("np.frombuffer(data, host.newbyteorder(), offset=4).astype(host)",
                                 "np.frombuffer(swapped dtype).astype()")}
    for endian in (z.Endian.no_swap, z.Endian.swap):
        data = value.serialize(endian)
        statement, name = baselines[endian]
        report(f"Variant.deserialize {endian.name}",
               best("z.Variant.deserialize('vecfloat', data, e)", 200, z=z, data=data, e=endian),
               best(statement, 200, np=np, data=data, host=host), name)


def storage_dicts():
    print("== 1,000 entries: per entry")
    entries = {f"key{i:04d}": i * 0.5 for i in range(1000)}
    python = best("{k: v for k, v in entries.items()}", 200, entries=entries) / 1000
    report("building the dict in Python", python)
    report("DataStorage.from_dict", best("z.DataStorage.from_dict(entries)", 50, z=z, entries=entries) / 1000,
           python, "the Python dict")
    storage = z.DataStorage.from_dict(entries)
    report("DataStorage.to_dict", best("storage.to_dict()", 50, storage=storage) / 1000, python, "the Python dict")


def pickling():
    print("== pickle protocol 5, in band, against numpy's pickle of the same array")
    numbers = np.random.default_rng(2).random(1_000_000, dtype=np.float32)
    pixels = np.random.default_rng(3).integers(0, 255, (4096, 4096), dtype=np.uint8)
    for label, value, array, number in [("1,000,000-element vecfloat", z.Variant(numbers, "vecfloat"), numbers, 50),
                                        ("4096 x 4096 Frame", z.Frame(pixels), pixels, 10)]:
        names = {"pickle": pickle, "value": value, "array": array}
        dumps = best("pickle.dumps(value, protocol=5)", number, **names)
        report(f"pickle.dumps {label}", dumps, best("pickle.dumps(array, protocol=5)", number, **names),
               "numpy's dumps")
        # Each side keeps the last objects it loaded, as a program does: dropping a result at
        # once would let the C library hand its pages back and time their faults instead.
        names.update(value=pickle.dumps(value, protocol=5), array=pickle.dumps(array, protocol=5), kept=[])
        load = "kept.append(pickle.loads({})); del kept[:-2]"
        report(f"pickle.loads {label}", best(load.format("value"), number, **names),
               best(load.format("array"), number, **names), "numpy's loads")


def storage_setitem():
    print("== [key] = value, per entry: 1,000 floats")
    keys = [f"key{i:04d}" for i in range(1000)]
    statement = "for k in keys: target[k] = 0.5"
    python = best(statement, 200, keys=keys, target={}) / 1000
    report("dict[key] = float", python)
    report("DataStorage[key] = float", best(statement, 200, keys=keys, target=z.DataStorage()) / 1000, python,
           "the dict")


def threads():
    print("== two threads serializing 64 MB each, against one")
    values = [z.Variant(np.zeros(16 << 20, np.float32), "vecfloat") for _ in range(2)]

    def run(count):
        workers = [threading.Thread(target=values[i].serialize, args=(z.Endian.swap,)) for i in range(count)]
        start = time.perf_counter()
        for worker in workers:
            worker.start()
        for worker in workers:
            worker.join()
        return time.perf_counter() - start

    one = min(run(1) for _ in range(5))
    report("one thread", one)
    report("two threads at once", min(run(2) for _ in range(5)), one, "one thread")


if __name__ == "__main__":
    image_access()
    vector_bytes()
    storage_dicts()
    pickling()
    storage_setitem()
    threads()
