"""Change notices of a CuratorStorage from Python: order, re-entry, exceptions, threads."""
import sys
import threading

import pytest

import zarvo_datatypes as zd

Change = zd.Change


def chain():
    """Curators 0 -> 1 -> 2 of int32, 0 refusing negative values, each holding its id."""
    storage = zd.CuratorStorage(3)
    for id, depends in enumerate([[1], [2], []]):
        storage.add_curator(id, "int32", depends)
    for id in range(3):
        storage.set(id, id)
    storage.set_validator(0, lambda value: value.value >= 0)
    return storage


def test_notices_come_once_per_curator_after_the_operation():
    storage = chain()
    heard = []
    with storage.subscribe_all(lambda id, change: heard.append((id, change, storage.get(0).value))):
        storage.set_generator(0, lambda: 5)
        storage.set(0, 7)
        with pytest.raises(zd.Error, match="New value is not valid!"):
            storage.set(0, -1)
        storage.invalidate(1)
    storage.set(0, 8)  # closed: no longer heard
    # Each callback reads the new state; curator 0's generator answers after the refusal.
    assert heard == [(0, Change.Set, 7), (1, Change.Invalidated, 7), (2, Change.Invalidated, 7),
                     (0, Change.Refused, 5), (1, Change.Invalidated, 5), (2, Change.Invalidated, 5),
                     (1, Change.Invalidated, 5), (2, Change.Invalidated, 5)]
    with pytest.raises(TypeError, match="no curator for type vecint8"):
        zd.CuratorStorage(1).add_curator(0, "vecint8")


def test_callbacks_reenter_and_their_exception_reaches_the_caller_as_itself():
    storage = chain()
    heard = []
    problem = KeyError("viewer failed")

    def viewer(id, change):
        heard.append(id)
        if id == 1:
            storage.set(2, 40)  # delivered in the next round
            raise problem

    subscription = storage.subscribe_all(viewer)
    with pytest.raises(KeyError) as raised:
        storage.set(0, 3)
    assert raised.value is problem
    assert heard == [0, 1, 2, 2] and storage.get(0).value == 3 and storage.get(2).value == 40
    subscription.close()
    assert not subscription.active
    del storage  # a handle outliving its storage closes quietly
    subscription.close()


def test_a_notifying_and_a_subscribing_thread_do_not_deadlock():
    storage = chain()
    heard = []
    subscription = storage.subscribe(2, lambda id, change: heard.append(change))

    def notify():
        for value in range(2000):
            storage.set(0, value)

    def subscribe():
        for _ in range(2000):
            with storage.subscribe(1, lambda id, change: storage.get(0)):
                pass

    threads = [threading.Thread(target=notify, daemon=True), threading.Thread(target=subscribe, daemon=True)]
    interval = sys.getswitchinterval()
    sys.setswitchinterval(1e-6)  # the threads take turns inside each other's calls
    try:
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join(timeout=60)
    finally:
        sys.setswitchinterval(interval)
    assert not any(thread.is_alive() for thread in threads)
    assert heard == [Change.Invalidated] * 2000
    subscription.close()
