#!/usr/bin/env python3
"""The interfaces' documents: every member is explained, and the code generators of others take them."""
import pathlib
import shutil
import subprocess
import tempfile
import unittest
import xml.etree.ElementTree

DOCUMENTS = sorted((pathlib.Path(__file__).resolve().parents[2] / "service/include/dbus").glob("*.xml"))
EXPLAINED = "org.gtk.GDBus.DocString"
QT = shutil.which("qdbusxml2cpp") or shutil.which("qdbusxml2cpp", path="/usr/lib/qt6/bin:/usr/lib/qt5/bin")


def explanation(element):
    found = [one.get("value") for one in element.findall("annotation") if one.get("name") == EXPLAINED]
    return found[0] if len(found) == 1 else None


class Introspection(unittest.TestCase):
    def setUp(self):
        self.folder = self.enterContext(tempfile.TemporaryDirectory())

    def run_on(self, document, *words):
        answer = subprocess.run([*words, str(document)], cwd=self.folder, capture_output=True, text=True, timeout=60)
        self.assertEqual((answer.returncode, answer.stderr), (0, ""), document.name)

    def made(self, name):
        return (pathlib.Path(self.folder) / name).read_text()

    def test_every_member_is_explained(self):
        self.assertGreater(len(DOCUMENTS), 10)
        for document in DOCUMENTS:
            interface = xml.etree.ElementTree.parse(document).getroot().find("interface")
            self.assertEqual(interface.get("name"), document.stem)
            for element in interface.iter():
                if element.tag != "annotation":
                    text = explanation(element) or ""
                    self.assertRegex(text, r"^[A-Z0-9].*\.$", f"{document.name}: {element.tag} {element.get('name')}")

    @unittest.skipUnless(shutil.which("gdbus-codegen"), "gdbus-codegen is not installed")
    def test_gdbus_codegen_takes_them_with_their_explanations(self):
        for document in DOCUMENTS:
            self.run_on(document, "gdbus-codegen", "--generate-c-code", "code", "--c-namespace", "Made",
                        "--generate-docbook", "book")
            interface = xml.etree.ElementTree.parse(document).getroot().find("interface")
            book = "".join(xml.etree.ElementTree.fromstring(self.made(f"book-{document.stem}.xml")).itertext())
            for element in interface.iter("method"):
                self.assertIn(explanation(element), book, document.name)

    @unittest.skipUnless(QT, "qdbusxml2cpp is not installed")
    def test_qdbusxml2cpp_takes_them(self):
        for document in DOCUMENTS:
            self.run_on(document, QT, "-p", "proxy")
            self.run_on(document, QT, "-a", "adaptor")
            interface = xml.etree.ElementTree.parse(document).getroot().find("interface")
            for element in interface.iter("method"):
                self.assertIn(element.get("name"), self.made("proxy.h"), document.name)


if __name__ == "__main__":
    unittest.main()
