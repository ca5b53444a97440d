"""Reading whole models: ravc -r get . of 10,000 and of 100,000 values."""
from harness import measure, table

VALUES_A_ROW = 10


def run(build):
    print("bulk: ravc -r get . and ravd together, medians of whole processes")
    for values in (10000, 100000):
        with table(build, values // VALUES_A_ROW) as path:
            wall, peak = measure(build, 5, [f"{build}/bin/ravc", "-u", path, "-r", "get", "."])
        print(f"{values:7} values: {wall / 1000:8.1f} ms, {wall / values:6.2f} us a value, "
              f"peak memory of ravc {peak:.0f} KiB")
