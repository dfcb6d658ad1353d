"""The corpora that are kept packed, and the packing itself."""

import os
import pathlib
import sys
import tempfile
import unittest

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))
import corpus  # pylint: disable=wrong-import-position


class CorpusTest(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.place = pathlib.Path(place.name)

    def folder(self, name: str, inputs: dict) -> pathlib.Path:
        folder = self.place / name
        folder.mkdir()
        for file, content in inputs.items():
            (folder / file).write_bytes(content)
        return folder

    def test_each_kept_corpus_is_as_this_program_packs_it(self):
        archives = sorted(HERE.glob("*_seed_corpus.zip"))
        self.assertEqual([path.name.split("_")[0] for path in archives],
                         ["base64", "convert", "http", "json", "localdata", "vond"])
        for archive in archives:
            with self.subTest(archive=archive.name):
                unpacked = self.place / archive.stem
                corpus.unpack(archive, unpacked)
                again = self.place / archive.name
                self.assertGreater(corpus.pack(unpacked, again), 4)
                self.assertTrue(again.read_bytes() == archive.read_bytes())

    def test_times_rights_and_order_do_not_matter(self):
        first = self.folder("first", {"a": b"1", "b": b"\0\xff"})
        second = self.folder("second", {"b": b"\0\xff", "a": b"1"})
        os.utime(second / "a", (1, 1))
        (second / "b").chmod(0o600)
        corpus.pack(first, self.place / "first.zip")
        corpus.pack(second, self.place / "second.zip")
        self.assertEqual((self.place / "first.zip").read_bytes(), (self.place / "second.zip").read_bytes())

    def test_what_was_unpacked_before_goes(self):
        packed = self.folder("packed", {"a": b"1", "empty": b""})
        corpus.pack(packed, self.place / "archive.zip")
        target = self.folder("target", {"a": b"old", "b": b"left over"})
        corpus.unpack(self.place / "archive.zip", target)
        self.assertEqual({path.name: path.read_bytes() for path in target.iterdir()}, {"a": b"1", "empty": b""})


if __name__ == "__main__":
    unittest.main()
