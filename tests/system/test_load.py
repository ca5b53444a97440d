"""Clients that take too much: they never read, flood, drip, or come in numbers. The others must not notice."""

import socket
import threading

import pytest

from daemon import RAVD, wait_for
from rpc import Closed
from test_sessions import joined, send_event


def cpu_ticks(daemon):
    """Processor time that the daemon has used so far, in clock ticks."""
    with open(f"/proc/{daemon.pid}/stat", encoding="ascii") as stat:
        fields = stat.read().rpartition(")")[2].split()
    return int(fields[11]) + int(fields[12])


def test_listener_that_never_reads_loses_the_oldest_events(ravd):
    count, size = 6000, 1000
    with ravd.connect() as listener, ravd.connect() as other, ravd.connect() as sender:
        joined(listener, 17)
        joined(other, 17)
        for n in range(count):
            send_event(sender, 17, [n, "x" * size])
            if n % 100 == 0:
                assert other.ping() and sender.ping()
            other.events.clear()
        assert sender.ping()
        last, told, dropped = -1, 0, 0
        while last != count - 1:
            event = listener.event()
            if event["Group"] == 0:
                dropped += event["Params"]["Dropped"]
                last += event["Params"]["Dropped"]
            else:
                assert event["Params"][0] == last + 1  # what is missing has been told before
                last, told = last + 1, told + 1
        assert dropped > 0 and told > 1000 and dropped + told == count
        assert listener.ping()


def test_event_larger_than_the_queue_is_dropped_alone(start_ravd):
    with start_ravd("--limit", "event-queue=1000") as daemon, daemon.connect() as listener, daemon.connect() as sender:
        joined(listener, 17)
        send_event(sender, 17, "x" * 2000)
        assert listener.event() == {"Group": 0, "Params": {"Dropped": 1}}
        send_event(sender, 17, "y")
        assert listener.event()["Params"] == "y"


def test_requests_of_a_client_that_takes_no_replies_are_not_read(start_ravd):
    daemon = start_ravd("--limit", "unsent-high=65536", "--limit", "unsent-low=16384")
    count = 5000
    data = b"".join(b'{"jsonrpc":"2.0","method":"rpc.discover","id":%d,"x":"%s"}\n' % (n, b"x" * 1000)
                    for n in range(count))
    with daemon.connect() as client, daemon.connect() as other:
        client.sock.settimeout(1.0)
        sent = 0
        with pytest.raises(TimeoutError):
            while sent < len(data):
                sent += client.sock.send(data[sent:sent + 65536])
        assert other.ping()
        rest = threading.Thread(target=client.sock.sendall, args=(data[sent:],))
        client.sock.settimeout(60)
        rest.start()
        got = [client.message()["id"] for _ in range(count)]
        rest.join()
        assert got == list(range(count))


def test_flood_leaves_room_for_others(ravd):
    block = b'{"jsonrpc":"2.0","method":"JoinGroup","params":{"Group":17},"id":1}\n' * 4000
    stop, taken = threading.Event(), [0]
    flooder = ravd.connect()

    def flood():
        while not stop.is_set():
            flooder.sock.sendall(block)
        flooder.sock.shutdown(socket.SHUT_WR)

    def take():
        while data := flooder.sock.recv(1 << 20):
            taken[0] += data.count(b"\n")

    threads = [threading.Thread(target=flood), threading.Thread(target=take)]
    for thread in threads:
        thread.start()
    clients = [ravd.connect() for _ in range(50)]
    try:
        wait_for(lambda: taken[0] > 4000, "the flood to run")
        for _ in range(5):
            before = taken[0]
            for client in clients:
                assert client.ping()
            wait_for(lambda: taken[0] > before, "the flood to go on")
    finally:
        stop.set()
        for thread in threads:
            thread.join()
        for client in [flooder, *clients]:
            client.close()
    assert taken[0] % 4000 == 0


def test_long_batch_leaves_room_for_others(start_ravd):
    daemon = start_ravd("--limit", "batch=200000", "--limit", "turn-requests=1")
    batch = b'[%s]\n' % b",".join([b'{"jsonrpc":"2.0","method":"LeaveGroup","params":{"Group":17},"id":1}'] * 50000)
    with daemon.connect() as greedy, daemon.connect() as other:
        greedy.send(batch)  # what the daemon has not read of it fits a socket's buffer
        answered = 0
        while not greedy.readable():
            assert other.ping()
            answered += 1
        assert len(greedy.message()) == 50000
        assert answered > 50  # served in one go, the batch would let through only what came before its last byte


def test_dripped_message_does_not_extend_its_time(start_ravd):
    with start_ravd("--limit", "partial-ms=300") as daemon, daemon.connect() as client, daemon.connect() as other:
        with pytest.raises((Closed, ConnectionError)):
            for _ in range(2000):
                client.send("x")
                if client.readable(0.01):
                    client.line()
        assert other.ping()


def test_messages_in_time_may_come_for_ever(start_ravd):
    with start_ravd("--limit", "partial-ms=300") as daemon, daemon.connect() as slow, daemon.connect() as dripper:
        slow.send('{"jsonrpc":"2.0",')
        dripper.send("x")
        while not slow.readable(0.05):  # one message after the other, each begun as the one before ends
            try:
                dripper.send('\nx')
                dripper.line()
            except (Closed, ConnectionError) as error:
                raise AssertionError("cut although no message took too long") from error
        assert slow.ended()


def test_tcp_guest_has_limited_time_unless_it_joins(start_ravd):
    with start_ravd("--listen", "tcp://127.0.0.1:0", "--limit", "login-ms=300") as daemon:
        with daemon.connect_tcp() as listener, daemon.connect() as local, daemon.connect_tcp() as idle:
            joined(listener, 17)
            with daemon.connect_tcp() as busy:
                with pytest.raises((Closed, ConnectionError)):
                    while True:
                        busy.ping()
            assert idle.ended()
            assert listener.ping() and local.ping()


def test_local_silence_is_not_limited(start_ravd):
    options = "--listen", "tcp://127.0.0.1:0", "--limit", "login-ms=100", "--limit", "partial-ms=100"
    with start_ravd(*options) as daemon, daemon.connect() as silent, daemon.connect() as quiet:
        assert quiet.ping()
        with daemon.connect_tcp() as remote:
            assert remote.ended()
        assert silent.ping() and quiet.ping()


def served(client):
    try:
        return client.ping()
    except (Closed, ConnectionError):
        return False


def test_connections_in_all(start_ravd):
    with start_ravd("--limit", "connections=3") as daemon:
        clients = [daemon.connect() for _ in range(5)]
        assert [served(client) for client in clients] == [True, True, True, False, False]
        clients[0].close()
        wait_for(lambda: served(daemon.connect()), "room for another connection")


def test_connections_of_one_user(start_ravd):
    with start_ravd("--limit", "per-uid=2", "--listen", "tcp://127.0.0.1:0") as daemon:
        clients = [daemon.connect() for _ in range(3)]
        assert [served(client) for client in clients] == [True, True, False]
        assert served(daemon.connect_tcp())


def test_connections_of_guests(start_ravd):
    options = "--limit", "guests=3", "--limit", "guests-per-address=2", "--listen", "tcp://0.0.0.0:0"
    with start_ravd(*options) as daemon:
        sources = ["127.0.0.1", "127.0.0.1", "127.0.0.1", "127.0.0.2", "127.0.0.3"]
        clients = [daemon.connect_tcp(source=source) for source in sources]
        assert [served(client) for client in clients] == [True, True, False, True, False]
        assert served(daemon.connect())


@pytest.mark.parametrize("percent", [75, 100])
def test_more_connections_than_descriptors(start_ravd, percent):
    if percent == 100 and b"__ubsan" in RAVD.read_bytes():
        pytest.skip("the sanitizer's own checks need a descriptor")
    with start_ravd("--limit", f"descriptors-percent={percent}", descriptors=80) as daemon:
        clients = [daemon.connect() for _ in range(160)]
        served_ones = [client for client in clients if served(client)]
        assert len(served_ones) == 60 if percent == 75 else 60 < len(served_ones) < 80
        assert all(served(client) for client in served_ones)
        before = cpu_ticks(daemon)
        for _ in range(20):
            assert not served(daemon.connect())
        assert cpu_ticks(daemon) - before < 50
        for client in clients:
            client.close()
        wait_for(lambda: served(daemon.connect()), "room for another connection")


def test_thousand_idle_connections_cost_little(ravd):
    def memory():
        with open(f"/proc/{ravd.pid}/status", encoding="ascii") as status:
            return next(int(line.split()[1]) for line in status if line.startswith("RssAnon"))

    with ravd.connect() as client:
        assert client.ping()
        before = memory()
        clients = [ravd.connect() for _ in range(1000)]
        assert all(each.ping() for each in clients)
        assert memory() - before < 1000 * 8  # KiB: an upper bound that sanitizers keep too
        assert client.ping()
        for each in clients:
            each.close()
