# Long byte-form work lets other Python threads run. With a switch interval far longer
# than the test, the main thread can only run while the worker is inside C++ if the
# call released the interpreter lock: it then sees the worker's flag still raised.
# Without the release it runs only once the worker has finished and lowered it.
import sys
import threading

import numpy as np
import pytest
import zarvo_datatypes as z

NO_SWAP = z.Endian.no_swap
NUMBERS = z.Variant(np.zeros(4 << 20, np.float32), "vecfloat")
STORAGE = z.DataStorage.from_dict({"n": np.zeros(4 << 20, np.float32)})
FRAME = z.Frame(np.zeros((2048, 2048), np.uint8))
NUMBER_BYTES = NUMBERS.serialize(NO_SWAP)
STORAGE_BYTES = STORAGE.serialize(NO_SWAP)


@pytest.mark.parametrize("work", [
    lambda: NUMBERS.serialize(NO_SWAP),
    lambda: z.Variant.deserialize("vecfloat", NUMBER_BYTES, NO_SWAP),
    lambda: STORAGE.serialize(z.Endian.swap),
    lambda: z.DataStorage.deserialize(STORAGE_BYTES, NO_SWAP),
    lambda: FRAME.copy(),
    pytest.param(lambda: sum(range(10**6)), marks=pytest.mark.xfail(strict=True)),  # the check itself
], ids=["serialize", "deserialize", "storage serialize", "storage deserialize", "frame copy", "python code"])
def test_long_work_releases_the_interpreter_lock(work):
    inside = [False]
    started, seen = threading.Event(), threading.Event()

    def worker():
        inside[0] = True
        started.set()       # wakes the main thread, which needs the lock to run
        for _ in range(200):  # until the main thread has run, however busy the machine
            work()
            if seen.is_set():
                break
        inside[0] = False

    interval = sys.getswitchinterval()
    sys.setswitchinterval(100.0)
    try:
        thread = threading.Thread(target=worker)
        thread.start()
        assert started.wait(timeout=30)
        if inside[0]:
            seen.set()
        thread.join(timeout=60)
    finally:
        sys.setswitchinterval(interval)
    assert not thread.is_alive() and seen.is_set()
