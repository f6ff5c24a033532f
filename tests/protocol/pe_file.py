"""As much of the PE format as the checks of the Windows program need."""

import struct

RT_VERSION = 16
RT_MANIFEST = 24

HIGH_ENTROPY_VA = 0x0020
DYNAMIC_BASE = 0x0040
NX_COMPATIBLE = 0x0100

RELOCATIONS_STRIPPED = 0x0001  # in the file header's own flags

SECTION_EXECUTE = 0x20000000
SECTION_WRITE = 0x80000000

CONSOLE = 3
AMD64 = 0x8664


class PeFile:
    def __init__(self, path):
        self.data = path.read_bytes()
        assert self.data[:2] == b"MZ"
        header = self._unpack("<I", 0x3C)[0]
        assert self.data[header: header + 4] == b"PE\0\0"
        file_header = self._unpack("<HHIIIHH", header + 4)
        self.machine, count, _, _, _, optional_size, self.file_flags = file_header
        optional = header + 24
        assert self._unpack("<H", optional)[0] == 0x20B, "not a 64-bit program"
        self.subsystem, self.flags = self._unpack("<HH", optional + 68)
        self._directories = optional + 112
        table = optional + optional_size
        self.sections = [self._section(table + 40 * index) for index in range(count)]

    def import_names(self):
        """The names of the libraries that the loader loads before the program runs."""
        names = []
        entry = self._offset(self._directory(1)[0])
        while any(self.data[entry: entry + 20]):
            names.append(self._text(self._offset(self._unpack("<I", entry + 12)[0])))
            entry += 20
        return names

    def has_delayed_imports(self):
        return self._directory(13) != (0, 0)

    def has_relocations(self):
        return self._directory(5)[1] > 0

    def resource(self, kind):
        """The bytes of the only resource of a kind."""
        root = self._offset(self._directory(2)[0])
        entry = dict(self._resource_entries(root))[kind]
        for _ in ("name", "language"):
            (_, entry), = self._resource_entries(root + (entry & 0x7FFFFFFF))
        address, size = self._unpack("<II", root + entry)
        start = self._offset(address)
        return self.data[start: start + size]

    def _resource_entries(self, folder):
        named, numbered = self._unpack("<HH", folder + 12)
        return [self._unpack("<II", folder + 16 + 8 * index) for index in range(named + numbered)]

    def _section(self, offset):
        name, size, address, raw_size, raw = struct.unpack_from("<8sIIII", self.data, offset)
        flags = self._unpack("<I", offset + 36)[0]
        return name.rstrip(b"\0").decode(), address, max(size, raw_size), raw, flags

    def _directory(self, index):
        return self._unpack("<II", self._directories + 8 * index)

    def _offset(self, address):
        for _, start, size, raw, _ in self.sections:
            if start <= address < start + size:
                return raw + address - start
        raise AssertionError(f"no section holds {address:#x}")

    def _text(self, offset):
        return self.data[offset: self.data.index(b"\0", offset)].decode("ascii")

    def _unpack(self, form, offset):
        return struct.unpack_from(form, self.data, offset)
