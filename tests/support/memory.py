"""What the memory of a running process holds."""


def memory_of(pid):
    """What a core image of the process would hold: every mapping that can be written."""
    with open(f"/proc/{pid}/maps", encoding="ascii") as maps, open(f"/proc/{pid}/mem", "rb", 0) as memory:
        for line in maps:
            start, end = (int(number, 16) for number in line.split()[0].split("-"))
            if line.split()[1].startswith("rw") and end - start < 1 << 30:
                memory.seek(start)
                try:
                    yield memory.read(end - start)
                except OSError:
                    pass  # a mapping without memory behind it


def is_in_memory(pid, text):
    return any(text.encode() in part for part in memory_of(pid))
