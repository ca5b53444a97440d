"""Nothing acknowledged is lost, nothing is mixed, nothing corrupt, whatever ends the daemon; ./dev bench faults does more.

Each harness is shown to find the fault that it looks for."""

import pytest
from save_faults import damaged_databases, kill_at_every_call, kill_while_saving, power_cuts
from tracing import can_trace


@pytest.fixture
def traced(tmp_path):
    if not can_trace():
        pytest.skip("strace may not be used here")
    return tmp_path


def test_kills_at_random_moments(tmp_path):
    count = kill_while_saving(tmp_path, 25)
    assert count["runs"] == 24 and count["acknowledged"] > 24 and count.bad() == 0, count


def test_kills_are_found_to_lose_what_was_not_acknowledged(tmp_path):
    assert kill_while_saving(tmp_path, 25, faulty=True)["lost"] > 0


def test_kills_at_the_calls_that_write(traced):
    count = kill_at_every_call(traced, ("fdatasync", "fsync", "rename"))
    assert count["runs"] > 10 and count["acknowledged"] > 0 and count.bad() == 0, count


def test_kills_at_calls_are_found_to_lose_what_was_not_acknowledged(traced):
    assert kill_at_every_call(traced, ("fdatasync",), faulty=True)["lost"] > 0


def test_power_cuts(traced):
    count = power_cuts(traced, 8)
    assert count["runs"] > 400 and count["acknowledged"] > 100 and count.bad() == 0, count


def test_power_cuts_are_found_to_hurt_where_syncs_do_nothing(traced):
    assert power_cuts(traced, 8, faulty=True).bad() > 0


def test_damaged_databases(tmp_path):
    count = damaged_databases(tmp_path, 25)
    assert count["runs"] == 25 and count.bad() == 0 and count["refused"] == 0, count


def test_a_damaged_copy_beside_a_damaged_database_is_found(tmp_path):
    count = damaged_databases(tmp_path, 2, faulty=True)
    assert count["lost"] == 2 and count["crashed"] == 0
