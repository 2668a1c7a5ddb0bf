#!/usr/bin/env python3
"""docs/records.md, docs/operations.md and docs/dbus.md against the code's tables and the interfaces, in both directions.
What the running service answers is compared with them by the integration tests."""
import re
import unittest
import xml.etree.ElementTree

from pages import ROOT, by_name, codes, rows, sections, source

COLUMN = re.compile(r"MediaDB(Common|Music|Video|Photo|PlaylistItem|PlaylistProperty|Podcast[A-Z]\w+?s)Column(\w+)")
TABLES = {  # as the page calls the columns that no service fills
    "all": "Common", "music": "Music", "video": "Video", "photo": "Photo", "playlist items": "PlaylistItem",
    "playlists": "PlaylistProperty", "podcast channels": "PodcastChannels", "podcast groups": "PodcastGroups",
    "podcast media": "PodcastMedias", "podcast posts": "PodcastPosts",
}
PARSERS = {  # the page's section and what fills its records
    "Songs": ["service/parsers/MP3Parser.cpp", "service/parsers/ID3Columns.cpp"],
    "MPEG-4 songs": ["service/parsers/MP4Parser.cpp"],
    "FLAC and Ogg": ["service/parsers/MVBasicAudioParser.cpp"],
    "Movies and other sound": ["service/parsers/QuickTimeAVParser.cpp"],
    "Pictures": ["service/image/UnifiedImageInfoBuider.cpp"],
}
RECORDS = sections(source("docs/records.md"))
OPERATIONS = sections(source("docs/operations.md"))
DBUS = sections(source("docs/dbus.md"))
MEDIA1 = sections(source("docs/media1.md"))


def section(title):
    return next(text for heading, text in RECORDS.items() if heading.split(":")[0] == title)


def database():
    """Each table's keys by the names of their constants."""
    found = re.findall(rf'string_view ({COLUMN.pattern})\s*= "(\w+)"', source("Base/Media/MediaDB.h"))
    return {name: (table, key) for name, table, _, key in found}


def helpers():
    """What the parsers' common functions set, by the functions' names."""
    text = source("Base/Media/DescribedFile.cpp") + source("service/parsers/MusicColumns.cpp")
    found = re.finditer(r"^void (\w+)\(.*?^}", text, flags=re.M | re.S)
    return {match[1]: {name[0] for name in COLUMN.finditer(match[0])} for match in found}


def filled_by(sources):
    """The constants that a parser sets, by itself or by the common functions that it calls."""
    text = "".join(source(path) for path in sources)
    names = {match[0] for match in COLUMN.finditer(text)}
    for helper, columns in helpers().items():
        if re.search(rf"\b{helper}\(", text):
            names |= columns
    return names


class Records(unittest.TestCase):
    def test_each_section_has_the_keys_that_its_parser_sets(self):
        keys = database()
        for title, sources in PARSERS.items():
            expected = {keys[name][1] for name in filled_by(sources)}
            if title == "Pictures":
                expected.add("Orientation")
            self.assertEqual(set(by_name(section(title))), expected, title)

    def test_the_rest_of_the_database_is_named(self):
        keys = database()
        self.assertEqual(len(keys), source("Base/Media/MediaDB.h").count("string_view MediaDB"))
        filled = {keys[name] for sources in PARSERS.values() for name in filled_by(sources)}
        unfilled = {(TABLES[row[0]], key) for row in rows(section("Columns that no service fills"))
                    for key in codes(row[1])}
        self.assertEqual(unfilled, set(keys.values()) - filled)

    def test_other_dictionaries(self):
        thumbnails = set(re.findall(r'kThumbnail\w+ = "(\w+)"', source("service/include/MVImageInfoBuilder.h")))
        self.assertEqual(set(by_name(section("Thumbnails"))), thumbnails)
        podcast = set(re.findall(r'= "(kMediaTag\w+)"', source("Base/Media/MediaDB.h")))
        self.assertEqual(set(by_name(section("Podcast identifiers"))), podcast)

    def test_exif_facts(self):
        properties = {one.get("name"): one.get("type")
                      for one in interface("Mivo.MVExifInfo").findall("property")}
        described = {name: codes(row[0])[0] for name, row in by_name(section("Exif facts")).items()}
        self.assertEqual(described, properties)

    def test_records_for_updates_name_what_the_writers_read(self):
        keys = database()
        common = {"MediaType", "FilePath"}
        for column, path in ((1, "service/tags/Id3TagEdit.cpp"), (2, "service/tags/Mp4TagEdit.cpp")):
            read = {keys[match[0]][1] for match in COLUMN.finditer(source(path))} | common
            described = {codes(row[0])[0] for row in rows(section("Records for updates")) if row[column] != "not read"}
            self.assertEqual(described, read, path)

    def test_media_types(self):
        constants = dict(re.findall(r"t (MVMediaType\w+) = (\w+);", source("Base/Media/MVMediaTypeReader.h")))
        names = re.findall(r'{ (MVMediaType\w+), "([A-Z0-9]+)" }', source("Base/Media/MVMediaTypeReader.cpp"))
        expected = {constants[constant]: name for constant, name in names} | {"0": "UNKNOWN"}
        self.assertEqual(set(constants) - {"MVMediaTypeUnknown"}, {constant for constant, _ in names})
        self.assertEqual(dict(rows(section("Media types"))), expected)


def interfaces():
    found = {}
    for path in sorted((ROOT / "service/include/dbus").glob("*.xml")):
        for one in xml.etree.ElementTree.parse(path).getroot().iter("interface"):
            found[one.get("name")] = one
    return found


def interface(name):
    return interfaces()[name]


def listed(arguments):
    return ", ".join(f"`{one.get('type')}` {one.get('name')}" for one in arguments) or "nothing"


def signature(member):
    """As the page has it."""
    if member.tag == "signal":
        return f"Signal: {listed(member.findall('arg'))}."
    given = [one for one in member.findall("arg") if one.get("direction") == "in"]
    answer = [one for one in member.findall("arg") if one.get("direction") == "out"]
    return f"In: {listed(given)}. Out: {listed(answer)}."


class Operations(unittest.TestCase):
    def test_every_interface_and_member_with_its_arguments(self):
        described = {}
        for heading, text in OPERATIONS.items():
            if heading.startswith("`Mivo."):
                members = sections(text, 3)
                described[heading.strip("`")] = {name.strip("`"): body.strip().splitlines()[0]
                                                for name, body in members.items()}
        expected = {name: {member.get("name"): signature(member) for member in one if member.tag in ("method", "signal")}
                    for name, one in interfaces().items() if name not in ("Mivo.Media1", "Mivo.Job1")}
        self.assertEqual(described, expected)

    def test_encoder_attributes(self):
        header = source("service/include/MVAudioEncoderBase.h")
        keys = set(re.findall(r'string_view \w+ = "(\w+Attribu?te)"', re.sub(r"\n\s+", " ", header)))
        self.assertEqual(len(keys), 6)
        self.assertEqual(set(by_name(OPERATIONS["Attributes of the encoder"])), keys)

    def test_encoder_codes(self):
        header = source("service/include/MVAudioEncoderBase.h")
        expected = {name: code for name, code in re.findall(r"(MVAudioEncoderError[A-Z]\w+) = (\d+);", header)}
        self.assertEqual(self.codes_of("Codes of the encoder"), expected)
        self.assertEqual(self.named("EncoderCodes"), set(expected))

    def test_exporter_codes(self):
        headers = source("Base/Core/OSStatus.h") + source("service/include/MVMP4ExporterBase.h")
        values = dict(re.findall(r"(\w+) = (-?\w+);", headers))
        described = self.codes_of("Codes of exports and conversions")
        self.assertEqual(set(described), self.named("ExporterCodes") | {"noErr"})
        for name, code in described.items():
            number = int.from_bytes(code.strip("'").encode(), "big") if code.startswith("'") else int(code)
            self.assertEqual(number, int(values[name], 0), name)

    @staticmethod
    def codes_of(heading):
        return {codes(row[1])[0]: row[0] for row in rows(OPERATIONS[heading])}

    @staticmethod
    def named(table):
        """The codes for which clients have a sentence."""
        text = re.search(rf"std::array {table} {{(.*?)^}};", source("client/ResultCodes.cpp"), flags=re.M | re.S)[1]
        return set(re.findall(r"ResultCode {\s*(\w+),", text))


class Media1(unittest.TestCase):
    def test_methods(self):
        members = sections(MEDIA1["Calls"], 3)
        described = {name: body.strip().splitlines()[0] for name, body in members.items()}
        expected = {one.get("name"): signature(one) for one in interface("Mivo.Media1").findall("method")}
        self.assertEqual(described, expected)

    def test_job(self):
        described = {name for row in rows(MEDIA1["Jobs"]) for name in codes(row[0])}
        job = interface("Mivo.Job1")
        self.assertEqual(described, {one.get("name") for one in job.findall("property")})
        for one in job.findall("method"):
            self.assertIn(f"`{one.get('name')}`", MEDIA1["Jobs"])

    def test_facts(self):
        code = source("facts/FactNames.h")
        keys = dict(re.findall(r'string_view (\w+) = "([^"]+)"', code))
        letters = dict(re.findall(r"^    (\w+), ///< (\w+)$", code, flags=re.M))
        expected = {keys[name]: letters[kind] for name, kind in re.findall(r"FactRow { fact::(\w+), FactType::(\w+)", code)}
        described = {name: codes(row[0])[0] for name, row in by_name(MEDIA1["Facts"]).items()}
        self.assertEqual(described.pop("mivo:pictures"), "aa{sv}")
        self.assertGreater(len(expected), 40)
        self.assertEqual(described, expected)

    def test_errors(self):
        names = re.search(r"Names\[\] {(.*?)}", source("service/include/MediaErrors.h"), flags=re.S)[1]
        self.assertEqual(set(by_name(MEDIA1["Errors"])), set(re.findall(r'"(\w+)"', names)))


class Wire(unittest.TestCase):
    def test_names(self):
        own = re.findall(r'Service = "(Mivo\w+_[\d.]+)"', source("service/include/ServiceNames.h"))
        self.assertEqual(len(own), 9)
        escaped = [re.sub(r"\.(?=\d)", "._", name) for name in own]
        self.assertEqual(list(by_name(DBUS["Names"])), escaped)

    def test_interfaces_of_names_are_those_that_clients_find(self):
        named = {name for row in rows(DBUS["Names"]) for name in codes(row[1])}
        served = set(interfaces()) - {"Mivo.MVAudioEncoderDelegate", "Mivo.MVMP4ExporterDelegate", "Mivo.MVExifInfo",
                                      "Mivo.NSDistributedNotificationCenter", "Mivo.CrashReporterRemote",
                                      "Mivo.Media1", "Mivo.Job1"}
        self.assertEqual(named, served)

    def test_errors(self):
        described = set(by_name(DBUS["Errors"]))
        bus = dict(re.findall(r'(BusError\w+) = "([\w.]+)"', source("bus/BusError.h")))
        prefix = bus.pop("BusErrorExceptionPrefix")
        # What a call of the service's own meets, and what no adaptor answers with.
        for name in ("BusErrorNoReply", "BusErrorNoServer", "BusErrorNotSupported"):
            bus.pop(name)
        exceptions = set(re.findall(r'= "(NS\w+Exception)"', source("Base/Core/NSException.h")))
        self.assertEqual(described, set(bus.values()) | {prefix + name for name in exceptions})


class Links(unittest.TestCase):
    def test_links_lead_somewhere(self):
        for page in [*ROOT.glob("*.md"), *ROOT.glob("docs/*.md")]:
            text = re.sub(r"```.*?```", "", page.read_text(), flags=re.S)
            for target in re.findall(r"\]\(([^)#]*)(?:#[^)]*)?\)", text):
                if target and not target.startswith("http"):
                    self.assertTrue((page.parent / target).exists(), f"{page.name}: {target}")

    def test_the_index_names_every_page(self):
        index = source("docs/README.md")
        for page in ROOT.glob("docs/*.md"):
            self.assertTrue(page.name == "README.md" or f"({page.name})" in index, page.name)

    def test_anchors_are_headings(self):
        for page in [*ROOT.glob("*.md"), *ROOT.glob("docs/*.md")]:
            for target, anchor in re.findall(r"\]\(([^)#]*)#([^)]*)\)", page.read_text()):
                text = (page.parent / target).read_text() if target else page.read_text()
                headings = {re.sub(r"[^\w -]", "", one.lower()).replace(" ", "-")
                            for one in re.findall(r"^#+ (.+)$", text, flags=re.M)}
                self.assertIn(anchor, headings, f"{page.name}: {target}#{anchor}")


if __name__ == "__main__":
    unittest.main()
