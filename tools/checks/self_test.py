#!/usr/bin/env python3
"""The checks are checked: each finds the fault that it is for, and leaves alone what is in order."""

import unittest

import clock
import clock_switch
import headers
import layering
import names
import seam
import seam_list
import settings
import system_imports
import tested
import words
from tree import ROOT, Tree, without_comments


class CheckTest(unittest.TestCase):
    def finds(self, check, texts: dict, *places: str):
        """The check finds exactly the places (path:line)."""
        found = sorted(f"{finding.path}:{finding.line}" for finding in check.check(Tree(texts)))
        self.assertEqual(found, sorted(places))


class TreeTest(unittest.TestCase):
    def test_comments_and_literals_are_blanked_and_lines_kept(self):
        text = 'a; // b\n/* c\nd */ e("f // g", \'h\');\nR"(i\nj)" k 1\'000\n'
        plain = without_comments(text)
        self.assertEqual(plain.count("\n"), text.count("\n"))
        for gone in "bcdfghij":
            self.assertNotIn(gone, plain)
        for kept in "aek":
            self.assertIn(kept, plain)

    def test_the_repository_has_files_of_all_kinds(self):
        tree = Tree.of_repository()
        self.assertIn("CMakeLists.txt", tree.paths())
        self.assertIn("project(", tree.text("CMakeLists.txt"))
        self.assertTrue((ROOT / "cmake").is_dir())


class LayeringTest(CheckTest):
    def test_an_include_of_a_higher_layer_is_found(self):
        self.finds(layering, {
            "Shared/src/a.hpp": '#pragma once\n#include "b.hpp"\n',
            "AgentProcessLib/src/b.hpp": '#include "a.hpp"\n'}, "Shared/src/a.hpp:2")

    def test_generated_messages_are_of_the_layer_of_their_proto(self):
        self.finds(layering, {
            "schemas/c.proto": "", "Shared/a.cpp": '#include "c.pb.h"\n', "AgentConnector/b.cpp": '#include "c.pb.h"\n'},
            "Shared/a.cpp:1")

    def test_the_product_never_includes_from_around_it(self):
        self.finds(layering, {
            "lab/l.hpp": "", "tests/support/t.hpp": '#include "l.hpp"\n',
            "AgentProcess/m.cpp": '#include <vector>\n#  include <l.hpp>\n#include "t.hpp"\n'},
            "AgentProcess/m.cpp:2", "AgentProcess/m.cpp:3")


class SeamTest(CheckTest):
    def test_headers_of_an_operating_system_need_the_suffix(self):
        text = "#include <sys/socket.h>\n#include <unistd.h>\n#include <vector>\n#include <sqlite3.h>\n"
        self.finds(seam, {"Shared/a.cpp": text, "Shared/a.linux.cpp": text}, "Shared/a.cpp:1", "Shared/a.cpp:2")

    def test_quoted_headers_of_an_operating_system_need_it_too(self):
        self.finds(seam, {"tests/a.test.cpp": '#include "windows.h"\n'}, "tests/a.test.cpp:1")

    def test_macros_of_an_operating_system_need_the_suffix(self):
        text = "// _WIN32\nint a;\n#if defined(_WIN32)\n#elif __linux__\n#endif\n"
        self.finds(seam, {"lab/a.cpp": text, "lab/a.windows.hpp": text}, "lab/a.cpp:3", "lab/a.cpp:4")

    def test_a_suffixed_header_is_for_files_of_its_platform(self):
        include = '#include "a.linux.hpp"\n'
        self.finds(seam, {
            "Shared/a.linux.hpp": "", "Shared/b.cpp": include, "Shared/b.linux.cpp": include,
            "Shared/b.windows.cpp": include}, "Shared/b.cpp:1", "Shared/b.windows.cpp:1")

    def test_cmake_asks_for_the_platform_only_in_its_folder(self):
        text = "# WIN32\nif(WIN32)\nendif()\n"
        self.finds(seam, {"Shared/CMakeLists.txt": text, "cmake/Vel.cmake": text}, "Shared/CMakeLists.txt:2")


class SeamListTest(CheckTest):
    def document(self, texts: dict, rows: str = "") -> dict:
        return texts | {seam_list.DOCUMENT: f"{rows}\n{seam_list.block(Tree(texts))}\n"}

    def test_partners_and_a_current_list_are_in_order(self):
        self.finds(seam_list, self.document({"Shared/a.linux.cpp": "", "Shared/a.windows.cpp": ""}))

    def test_a_file_without_partner_needs_a_reason(self):
        texts = {"Shared/a.linux.cpp": ""}
        self.finds(seam_list, self.document(texts), "Shared/a.linux.cpp:1")
        self.finds(seam_list, self.document(texts, "| `a.linux.cpp` |  |"), "Shared/a.linux.cpp:1")
        self.finds(seam_list, self.document(texts, "| `a.linux.cpp` | Linux alone has it. |"))

    def test_a_reason_for_nothing_is_found(self):
        texts = {"Shared/a.linux.cpp": "", "Shared/a.windows.cpp": ""}
        rows = "| `a.linux.cpp` | Has its partner. |\n| `gone.linux.cpp` | Is not there. |"
        self.finds(seam_list, self.document(texts, rows), "docs/platform.md:1", "docs/platform.md:2")

    def test_a_list_that_is_not_current_is_found(self):
        texts = self.document({"Shared/a.linux.cpp": "", "Shared/a.windows.cpp": ""})
        self.finds(seam_list, texts | {"Shared/b.linux.cpp": "", "Shared/b.windows.cpp": ""}, "docs/platform.md:2")


class ClockTest(CheckTest):
    def test_reading_and_sleeping_past_the_clock_is_found(self):
        faults = [
            "std::this_thread::sleep_for(x);", "::Sleep(5);", "Sleep(5);", "usleep(1);", "nanosleep(&a, nullptr);",
            "auto t = std::chrono::steady_clock::now();", "system_clock::now()", "GetTickCount64();",
            "clock_gettime(CLOCK_REALTIME, &t);", "auto s = time(nullptr);", "std::time(0);",
            "condition.wait_for(lock, 5s);"]
        for fault in faults:
            with self.subTest(fault):
                self.finds(clock, {"Shared/src/IO/a.linux.cpp": f"\n{fault}\n"}, "Shared/src/IO/a.linux.cpp:2")

    def test_what_only_looks_so_is_left_alone(self):
        text = ("// Sleep(1)\nShared::Time::SleepFor(x);\nthread.Sleep(1);\nstd::string a = \"time(nullptr)\";\n"
                "run_time(0);\nreport.time(0);\ncondition.wait_for(lock, Time::ToRealSpan(5s));\n")
        self.finds(clock, {"Shared/src/IO/a.cpp": text})

    def test_the_clock_itself_and_tests_may(self):
        text = "std::this_thread::sleep_for(x);\nstd::chrono::steady_clock::now();\n"
        self.finds(clock, {"Shared/src/Time/a.cpp": text, "tests/unit/a.test.cpp": text, "lab/a.cpp": text})

    def test_the_switch_is_not_for_the_product(self):
        include = f'#include "{clock.SWITCH}"\n'
        self.finds(clock, {
            "AgentProcess/a.cpp": include, "AgentProcessLib/a.hpp": include, "lab/a.cpp": include,
            "Shared/src/Time/a.cpp": include}, "AgentProcess/a.cpp:1", "AgentProcessLib/a.hpp:1")


class ClockSwitchTest(unittest.TestCase):
    CLOCK = "0000 T Shared::Time::UtcNow()\n"

    def test_an_executable_without_the_switch_passes(self):
        self.assertEqual(clock_switch.faults(self.CLOCK), [])

    def test_the_switch_is_found(self):
        found = clock_switch.faults(self.CLOCK + "0001 T Shared::Time::ClockControl::SetSpeed(double)\n")
        self.assertEqual(len(found), 1)
        self.assertIn("SetSpeed", found[0])

    def test_an_executable_without_symbols_proves_nothing(self):
        self.assertEqual(len(clock_switch.faults("")), 1)


class TestedTest(CheckTest):
    def test_a_body_without_a_test_is_found_once(self):
        self.finds(tested, {
            "Shared/a.cpp": "", "Shared/b.linux.cpp": "", "Shared/b.windows.cpp": "", "Shared/c.cpp": "",
            "tests/unit/Shared/a.test.cpp": "", "tests/integration/c.test.cpp": ""},
            "Shared/b.linux.cpp:1", "Shared/c.cpp:1")

    def test_a_contract_test_covers_the_bodies_of_both_platforms(self):
        self.finds(tested, {
            "Shared/b.linux.cpp": "", "Shared/b.windows.cpp": "", "tests/contract/b.test.cpp": ""})

    def test_an_exception_needs_a_reason_and_a_cause(self):
        self.finds(tested, {
            "Shared/a.cpp": "", "Shared/b.cpp": "", "Shared/c.cpp": "", "tests/unit/c.test.cpp": "",
            tested.EXCEPTIONS: "# a\na | good\nb |\nc | has one\ngone | is not there\n"},
            f"{tested.EXCEPTIONS}:3", f"{tested.EXCEPTIONS}:4", f"{tested.EXCEPTIONS}:5")


class NamesTest(CheckTest):
    def test_a_name_twice_is_found_whatever_its_case(self):
        self.finds(names, {"Shared/x.a-b.hpp": "", "lab/x.a-b.hpp": "", "lab/x.a-c.hpp": ""}, "lab/x.a-b.hpp:1")
        self.finds(names, {"Shared/a.proto": "", "lab/A.proto": ""}, "lab/A.proto:1")

    def test_capitals_are_found(self):
        self.finds(names, {"Shared/shared.Event.hpp": ""}, "Shared/shared.Event.hpp:1")


class HeadersTest(CheckTest):
    def test_a_header_without_pragma_once_is_found(self):
        self.finds(headers, {"lab/a.hpp": "// a\n#pragma once\n", "lab/b.hpp": "#include <vector>\n#pragma once\n"},
                   "lab/b.hpp:1")

    def test_the_own_header_comes_first(self):
        self.finds(headers, {
            "Shared/a.hpp": "#pragma once\n", "Shared/a.cpp": '#include <vector>\n#include "a.hpp"\n',
            "Shared/a.linux.cpp": '// bodies\n#include "a.hpp"\n', "Shared/b.cpp": "#include <vector>\n"},
            "Shared/a.cpp:1")


class SettingsTest(CheckTest):
    TABLE = "enum class Value\n{\n    A,\n    B\n};\n    {Value::A, x},\n    {Value::B, x},\n"

    def test_a_row_that_nobody_uses_is_found(self):
        self.finds(settings, {
            settings.TABLE: self.TABLE,
            "Shared/src/AppSettings/a.cpp": "namespace Shared::AppSettings { ReadText(Value::A); // Value::B\n}"},
            f"{settings.TABLE}:7")

    def test_a_value_read_or_written_past_the_table_is_found(self):
        self.finds(settings, {
            "AgentProcessLib/src/Ops/a.cpp": 'x;\nWinReg::TryGetStringValue(Root::LocalMachine, p, L"n", t);\n'
                                             'WinReg::DeleteValue(p);\n// SetDwordValue(\nOpenKey(p);',
            "Shared/src/AppSettings/shared.appsettings-values.cpp": "GetStringValue(p);",
            "Shared/src/WinReg/w.cpp": "SetDwordValue(p);",
            "tests/unit/a.test.cpp": "SetDwordValue(p);"},
            "AgentProcessLib/src/Ops/a.cpp:2", "AgentProcessLib/src/Ops/a.cpp:3")


class WordsTest(CheckTest):
    def test_what_has_no_place_is_found(self):
        texts = {"docs/a.md": "\n".join([
            "as Par" + "t 8.2 says", "the specificatio" + "n", "see /wor" + "k/x", "in /hom" + "e/jane/x",
            "http" + "s://de" + "b.example.org"])}
        self.finds(words, texts, *(f"docs/a.md:{line}" for line in range(1, 6)))

    def test_ordinary_words_are_left_alone(self):
        self.finds(words, {"docs/a.md": "Part of it\nspecific\n/usr/lib/wine\nbuild/wor" + "k/x\nhttps://example.org\n"})

    def test_the_check_passes_itself(self):
        tree = Tree({f"tools/checks/{name}": (ROOT / "tools/checks" / name).read_text(encoding="utf-8")
                     for name in ("words.py", "self_test.py")})
        self.assertEqual(words.check(tree), [])


class SystemImportsTest(unittest.TestCase):
    def test_a_foreign_library_is_found(self):
        listing = "\tDLL Name: KERNEL32.dll\n\tDLL Name: libstdc++-6.dll\n\tDLL Name: WS2_32.dll\n"
        self.assertEqual(system_imports.foreign_imports(listing), ["libstdc++-6.dll"])

    def test_a_listing_without_imports_proves_nothing(self):
        with self.assertRaises(ValueError):
            system_imports.foreign_imports("")


if __name__ == "__main__":
    unittest.main()
