#!/usr/bin/env python3
"""Each message of docs/troubleshooting.md stands in the sources of the programs."""
import re
import unittest

from pages import ROOT, codes, rows, source

FOLDERS = ("Base", "application", "arguments", "bus", "cli", "client", "ffmpeg", "process", "sandbox", "service", "system",
           "thumbnailer")


def literals():
    """What the programs say, with literals that are put together as one and placeholders as a mark."""
    texts = []
    for folder in FOLDERS:
        for path in sorted((ROOT / folder).rglob("*.cpp")):
            text = re.sub(r'"\s*\n?\s*"', "", path.read_text())
            for literal in re.findall(r'"((?:[^"\\\n]|\\.)*)"', text):
                texts.append(re.sub(r"%[-.*\w]*?[sdugz]+", "", literal).replace('\\"', '"'))
    return texts


class Troubleshooting(unittest.TestCase):
    def test_messages_are_those_of_the_programs(self):
        said = "\n".join(literals())
        messages = [codes(row[0])[0] for row in rows(source("docs/troubleshooting.md"))]
        self.assertGreater(len(messages), 40)
        for message in messages:
            # Words in capitals stand for what differs; names of formats do not.
            for part in re.split(r"\b(?:PATH|NAME|PID|PROCESS|REASON|FOLDER|FIELDS|MESSAGE|N)\b", message):
                self.assertIn(part.strip(), said, message)


if __name__ == "__main__":
    unittest.main()
