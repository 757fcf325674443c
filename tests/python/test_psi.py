"""The Python module, as it was installed."""

import copy
import os
import pathlib
import re
import unittest

import psi

ROOT = pathlib.Path(__file__).resolve().parents[2]
EXAMPLE = ROOT / "examples" / "multiplex.ts"


class Sections(unittest.TestCase):
    def test_every_section_of_the_example_comes_back_bit_for_bit(self):
        count = 0
        for section in psi.sections(EXAMPLE):
            document = section.json
            self.assertEqual(document["data"], section.data.hex())
            del document["data"]
            made = psi.compile(document)
            self.assertEqual([(one.data, one.pid) for one in made], [(section.data, section.pid)])
            count += 1
        self.assertEqual(count, len({s.data for s in psi.sections(EXAMPLE, repetitions=True)}))
        self.assertGreater(count, 5)

    def test_sections_have_names_pids_and_places(self):
        first = {section.table: section for section in reversed(list(psi.sections(EXAMPLE)))}
        self.assertEqual(first["PAT"].pid, 0)
        self.assertEqual(first["PAT"].table_id, 0)
        self.assertIn("SDT actual", first)
        self.assertFalse(first["PMT"].repeated)
        self.assertIn("PMT on PID 0x", repr(first["PMT"]))

    def test_repetitions_come_when_they_are_asked_for(self):
        once = list(psi.sections(EXAMPLE))
        every = list(psi.sections(EXAMPLE, repetitions=True))
        self.assertGreater(len(every), len(once))
        self.assertEqual([s.data for s in every if not s.repeated], [s.data for s in once])

    def test_an_iteration_may_be_left_early(self):
        first = next(psi.sections(EXAMPLE, repetitions=True))
        self.assertEqual(first.data, next(psi.sections(EXAMPLE)).data)

    def test_an_iteration_that_never_began_leaves_nothing_open(self):
        def open_files():
            return len(os.listdir("/proc/self/fd"))

        before = open_files()
        for _ in range(3):
            psi.sections(EXAMPLE).close()
        self.assertEqual(open_files(), before)

    def test_a_name_with_a_nul_is_no_name(self):
        with self.assertRaises(ValueError):
            psi.sections(str(EXAMPLE) + "\0")

    def test_a_missing_file_is_told_by_its_name(self):
        with self.assertRaisesRegex(psi.InputError, "no/such.ts: No such file or directory"):
            psi.sections("no/such.ts")

    def test_a_file_without_packets_is_an_error(self):
        with self.assertRaisesRegex(psi.InputError, "no transport packets"):
            list(psi.sections(__file__))


class Documents(unittest.TestCase):
    def setUp(self):
        self.pmt = next(s for s in psi.sections(EXAMPLE) if s.table == "PMT")

    def test_an_edited_field_is_written_and_the_crc_with_it(self):
        document = copy.deepcopy(self.pmt.json)
        document["tree"]["version_number"] = 9
        made, = psi.compile(document)
        self.assertEqual(made.data[5] >> 1 & 0x1F, 9)
        self.assertTrue(psi.describe(made.data)["crc_right"])

    def test_a_list_of_sections_gives_all_of_them(self):
        self.assertEqual([one.data for one in psi.compile([self.pmt.json] * 3)], [self.pmt.data] * 3)

    def test_a_value_out_of_range_is_told_with_its_place(self):
        with self.assertRaises(psi.Error) as caught:
            psi.compile({"tree": {"table_id": 2, "program_number": 70000}})
        self.assertEqual(caught.exception.place, "/tree/program_number")
        self.assertIn("70000", caught.exception.message)

    def test_what_is_passed_over_is_told(self):
        document = copy.deepcopy(self.pmt.json)
        document["table"] = "CAT"
        with self.assertWarnsRegex(UserWarning, '^/table: "CAT" is not what its table_id says'):
            psi.compile(document)

    def test_text_that_is_no_json_is_told_with_line_and_column(self):
        with self.assertRaises(psi.Error) as caught:
            psi.compile("{\n ]")
        self.assertEqual(caught.exception.place, "line 2, column 2")

    def test_a_damaged_section_keeps_its_bytes(self):
        damaged = self.pmt.data[:-1] + bytes([self.pmt.data[-1] ^ 1])
        document = psi.describe(damaged, pid=0x100)
        self.assertFalse(document["crc_right"])
        self.assertEqual(psi.compile(document)[0].data, damaged)

    def test_wrong_arguments_are_refused(self):
        for arguments in ((b"",), (bytes(4097),), (b"\0", 8192)):
            with self.assertRaises(psi.Error):
                psi.describe(*arguments)
        with self.assertRaises(ValueError):
            psi.describe(b"\0", standard="isdb")


class Manual(unittest.TestCase):
    def test_its_examples_run(self):
        blocks = re.findall(r"```python\n(.*?)```", (ROOT / "python" / "README.md").read_text(), re.S)
        self.assertGreaterEqual(len(blocks), 3)
        for block in blocks:
            exec(compile(block.replace("examples/multiplex.ts", str(EXAMPLE)), "README.md", "exec"), {})


if __name__ == "__main__":
    unittest.main()
