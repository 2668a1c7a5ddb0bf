"""The pages of docs/ as the tests read them."""
import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parents[2]


def source(path):
    return (ROOT / path).read_text()


def sections(page, level=2):
    """The texts below each heading of the level, by the heading."""
    parts = re.split(rf"^#{{{level}}} (.+)$", page, flags=re.M)
    return dict(zip(parts[1::2], parts[2::2]))


def rows(text):
    """The cells of every table row, without headers and rules."""
    found = []
    for block in re.findall(r"^\|.*\n\|[-|]+\|\n((?:\|.*\n)+)", text + "\n", flags=re.M):
        for line in block.splitlines():
            found.append([cell.strip() for cell in line.strip("|").split("|")])
    return found


def codes(cell):
    """What stands between backticks."""
    return re.findall(r"`([^`]+)`", cell)


def by_name(text):
    """The rows whose first cell is a name, by that name."""
    return {codes(row[0])[0]: row[1:] for row in rows(text) if codes(row[0])}
