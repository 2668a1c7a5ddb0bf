#!/usr/bin/env python3
"""What scripts/check-paths takes for going to the file system by path, and what not."""
import importlib.machinery
import importlib.util
import pathlib
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "check-paths"


def load():
    loader = importlib.machinery.SourceFileLoader("check_paths", str(SCRIPT))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader(loader.name, loader))
    loader.exec_module(module)
    return module


CHECK = load()


class Uses(unittest.TestCase):
    def expect(self, code, *names):
        self.assertEqual([name for _, name in CHECK.uses(code)], list(names), code)

    def test_calls_of_the_system(self):
        self.expect("UniqueFd fd(::open(path.c_str(), flags));", "open")
        self.expect("int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);", "open")
        self.expect("return openat(folder, name.c_str(), O_RDONLY);", "openat")
        self.expect("if (stat(path.c_str(), &facts) != 0)", "stat")
        self.expect("while (access(path, F_OK) == 0) { }", "access")
        self.expect("return unlink(path.c_str()) == 0;", "unlink")
        self.expect("else ::rename(a, b);", "rename")
        self.expect("std::rename(a, b); std::remove(a.c_str());", "remove", "rename")
        self.expect("std::FILE* file = std::fopen(path, \"rb\");", "fopen")
        self.expect("void* library = dlopen(name, RTLD_LAZY);", "dlopen")

    def test_streams_and_paths_of_the_standard(self):
        self.expect("std::ifstream in(path);", "std::ifstream")
        self.expect("namespace fs = std::filesystem;", "std::filesystem")

    def test_our_own_mechanics(self):
        self.expect("auto file = InputFile::openShared(path);", "InputFile::openShared")
        self.expect("auto file = mv::OpenedFile::at(path);", "OpenedFile::at")
        self.expect("auto facts = attributesAt(path);", "attributesAt")

    def test_libraries_that_take_a_path(self):
        self.expect("TIFF* file = TIFFOpen(path, \"r\");", "TIFFOpen")
        self.expect("avformat_open_input(&context, path, format, nullptr);", "avformat_open_input")
        self.expect("avformat_open_input(&context, nullptr, format, nullptr);")

    def test_what_has_a_descriptor_or_only_the_name(self):
        self.expect("struct stat facts { }; fstat(fd, &facts); ftruncate(fd, 0); fchmod(fd, 0600);")
        self.expect("auto reader = PngReader::open(source); m_file.open(); file->open(O_RDONLY);")
        self.expect("Result<void> open(const Settings& settings, int flags = O_RDONLY);")
        self.expect("bool link(const std::string& name) const;")
        self.expect("text.erase(std::remove(text.begin(), text.end(), ' '), text.end());")
        self.expect("openShared(); reopen(path); isOpen(path); record.remove(key);")

    def test_comments_and_literals_are_no_code(self):
        self.expect("// stat(path) would tell\n/* unlink(path) */ log(\"open(path, O_RDONLY)\");")

    def test_lines_are_counted_past_comments_and_literals(self):
        code = '/* two\nlines */ auto text = R"(unlink(a)\nunlink(b))";\nunlink(path);'
        self.assertEqual(CHECK.uses(code), [(4, "unlink")])


class Rows(unittest.TestCase):
    def test_a_row_is_a_folder_or_a_file(self):
        rows = ["system", "platform/FSRef.cpp"]
        self.assertEqual(CHECK.row_of("system/InputFile.cpp", rows), "system")
        self.assertEqual(CHECK.row_of("platform/FSRef.cpp", rows), "platform/FSRef.cpp")
        self.assertIsNone(CHECK.row_of("systems/File.cpp", rows))
        self.assertIsNone(CHECK.row_of("platform/FSRef.h", rows))


if __name__ == "__main__":
    unittest.main()
