"""What the checks of this folder have in common."""
import pathlib

ROOT = pathlib.Path(__file__).resolve().parents[2]


def report(checks):
    """Runs checks, each of them (what is asked, what must be there, what is there). The exit status."""
    passed = failed = 0
    try:
        for what, expected, found in checks:
            if expected == found:
                passed += 1
            else:
                failed += 1
                print(f"FAILED {what}: expected {expected!r}, found {found!r}")
    except Exception as error:
        failed += 1
        print(f"FAILED {error!r}")
    print(f"{passed} passed, {failed} failed")
    return 1 if failed else 0
