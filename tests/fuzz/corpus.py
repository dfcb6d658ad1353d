"""Packs and unpacks the corpora, TARGET_seed_corpus.zip: corpus.py pack FOLDER ZIP | unpack ZIP FOLDER

The same files make the same archive, whatever their times and rights are, so that a change of an
archive is a change of its inputs. They are not compressed: that git does, and better for all of
them together.
"""

import pathlib
import sys
import zipfile


def pack(folder: pathlib.Path, archive: pathlib.Path) -> int:
    """Writes every file directly in the folder into the archive; returns how many there are."""
    inputs = sorted(path for path in folder.iterdir() if path.is_file())
    with zipfile.ZipFile(archive, "w", zipfile.ZIP_STORED) as packed:
        for path in inputs:
            entry = zipfile.ZipInfo(path.name)  # of 1980, the first year there is
            entry.external_attr = 0o644 << 16
            entry.create_system = 3  # Unix
            packed.writestr(entry, path.read_bytes())
    return len(inputs)


def unpack(archive: pathlib.Path, folder: pathlib.Path) -> None:
    """Leaves in the folder what is in the archive, and nothing else."""
    folder.mkdir(parents=True, exist_ok=True)
    for path in folder.iterdir():
        path.unlink()
    with zipfile.ZipFile(archive) as packed:
        packed.extractall(folder)


if __name__ == "__main__":
    match sys.argv[1:]:
        case ["pack", folder, archive]:
            pack(pathlib.Path(folder), pathlib.Path(archive))
        case ["unpack", archive, folder]:
            unpack(pathlib.Path(archive), pathlib.Path(folder))
        case _:
            sys.exit(__doc__)
