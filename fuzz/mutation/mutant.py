"""Damaged copies of stores: which file, which damage, at which place. Seeds decide; the same seed and number give
the same mutant everywhere. A store is a dictionary of its files' bytes by their names."""

import dataclasses
import struct

SECTOR_BYTES = 512
OF_DATABASES = ("bit flips", "other bytes", "zeroed page", "zeroed sector", "swapped pages", "foreign page",
                "truncated file")
OF_OTHER_FILES = ("bit flips", "other bytes", "zeroed sector", "truncated file", "missing file")
ROWS_OF = {0: "usage maps", 1: "global map", 2: "rows of the catalog", 3: "rows of permissions",
           4: "rows of stored queries", 0x4C41564C: "long values"}


@dataclasses.dataclass
class Mutant:
    number: int
    store: int  # in the list of stores
    file: str
    damage: str = "bit flips"
    place: str = ""  # what kind of page or file was hit; the first page where there are several
    description: str = ""
    data: bytearray | None = None  # of the damaged file; None when it is missing


class Dice:
    """SplitMix64."""

    def __init__(self, seed):
        self.state = seed

    def roll(self):
        mask = (1 << 64) - 1
        self.state = (self.state + 0x9E3779B97F4A7C15) & mask
        z = self.state
        z = ((z ^ z >> 30) * 0xBF58476D1CE4E5B9) & mask
        z = ((z ^ z >> 27) * 0x94D049BB133111EB) & mask
        return z ^ z >> 31

    def below(self, end):
        """0 to `end` - 1; 0 when there is nothing to choose from."""
        return self.roll() % end if end else 0

    def choose(self, things):
        return things[self.below(len(things))]


def page_bytes_of(database):
    return 2048 if database[0x14] == 0 else 4096


def describe_page(database, page):
    """What a page of a sound database holds."""
    if page == 0:
        return "header"
    kind, owner = struct.unpack_from("<B3xI", database, page * page_bytes_of(database))
    if kind == 1:
        return ROWS_OF.get(owner, "rows of a table")
    if kind == 2:
        return "definition, system" if page < 6 else "definition"
    return {3: "index", 4: "index", 5: "usage bitmap"}.get(kind, "unused page")


def describe_file(name):
    return "MIME file" if "/Mime/" in name else {".reg": "registry file", ".exe": "program"}.get(name[-4:], "stored file")


class Mutator:
    """Damages one file of a store; each damage is a function of its own."""

    def __init__(self, stores, seed, number):
        self.stores = stores
        self.dice = Dice((seed * 0xD1342543DE82EF95 + number) & ((1 << 64) - 1))
        self.mutant = Mutant(number, number % len(stores), "")

    def make(self):
        mutant, files = self.mutant, self.stores[self.mutant.store]
        mutant.file = self.choose_file(files)
        mutant.data = self.data = bytearray(files[mutant.file])
        self.is_database = mutant.file.endswith(".mdb")
        self.page_bytes = page_bytes_of(self.data) if self.is_database else SECTOR_BYTES
        mutant.damage = self.dice.choose(OF_DATABASES if self.is_database else OF_OTHER_FILES)
        if not self.is_database:
            mutant.place = describe_file(mutant.file)
        getattr(self, mutant.damage.replace(" ", "_"))()
        return mutant

    def choose_file(self, files):
        """Most mutants are of the mail database."""
        databases = sorted((name for name in files if name.endswith(".mdb")), key=lambda name: "Cabdata" not in name)
        roll = self.dice.below(100)
        if roll < 82:
            return databases[0 if roll < 70 else -1]
        return self.dice.choose(sorted(name for name in files if not name.endswith(".mdb")))

    def stand_at(self, offset):
        """Remembers the place before it is changed."""
        if self.is_database:
            page = offset // self.page_bytes
            is_whole = (page + 1) * self.page_bytes <= len(self.data)
            self.mutant.place = describe_page(self.data, page) if is_whole else "nothing"
            self.mutant.description = f"page {page} "
        self.mutant.description += f"byte {offset}"

    def choose_offset(self):
        """Half of all single changes hit the first bytes of a page, where the structures are."""
        offset = self.dice.below(len(self.data))
        if self.dice.below(2):
            offset = min(offset // self.page_bytes * self.page_bytes + self.dice.below(64), len(self.data) - 1)
        self.stand_at(offset)
        return offset

    def choose_page(self):
        return self.dice.below(len(self.data) // self.page_bytes) * self.page_bytes

    def bit_flips(self):
        """One to eight, close to each other."""
        if not self.data:
            return
        first = offset = self.choose_offset()
        count = 1 + self.dice.below(8)
        for i in range(count):
            if i:
                offset = min(first + self.dice.below(32), len(self.data) - 1)
            self.data[offset] ^= 1 << self.dice.below(8)
        self.mutant.description += f": bits {count}"

    def other_bytes(self):
        """One to sixteen, in a row."""
        if not self.data:
            return
        first = self.choose_offset()
        count = min(1 + self.dice.below(16), len(self.data) - first)
        for i in range(count):
            self.data[first + i] = self.dice.roll() & 0xFF
        self.mutant.description += f": bytes {count}"

    def zero(self, size):
        first = self.dice.below(-(-len(self.data) // size)) * size
        self.stand_at(first)
        count = min(size, len(self.data) - first)
        self.data[first:first + count] = bytes(count)

    def zeroed_page(self):
        self.zero(self.page_bytes)

    def zeroed_sector(self):
        self.zero(SECTOR_BYTES)

    def swapped_pages(self):
        one, other = self.choose_page(), self.choose_page()
        self.stand_at(one)
        self.mutant.description += f" with page {other // self.page_bytes}"
        pages = [slice(begin, begin + self.page_bytes) for begin in (one, other)]
        self.data[pages[0]], self.data[pages[1]] = self.data[pages[1]], self.data[pages[0]]

    def foreign_page(self):
        """A page from elsewhere, of this database or another."""
        source = self.dice.choose([data for files in self.stores for name, data in sorted(files.items())
                                   if name.endswith(".mdb") and page_bytes_of(data) == self.page_bytes])
        page = self.dice.below(len(source) // self.page_bytes) * self.page_bytes
        target = self.choose_page()
        self.stand_at(target)
        self.mutant.description += f" becomes page {page // self.page_bytes} of a database"
        self.data[target:target + self.page_bytes] = source[page:page + self.page_bytes]

    def truncated_file(self):
        size = self.dice.below(len(self.data))
        self.stand_at(size)
        if self.is_database:
            self.mutant.place = "from some page on"
        del self.data[size:]

    def missing_file(self):
        self.mutant.data = None
        self.mutant.description = "not there"


def used_ranges(data, page):
    """The bytes of a page that mean something: not those after a definition's end, nor those between the slots and
    the rows."""
    size = page_bytes_of(data)
    begin = page * size
    kind, free, definition_bytes = struct.unpack_from("<BxH4xI", data, begin)
    if kind == 2:
        # The definitions of these stores have one page each.
        return [range(begin, begin + min(definition_bytes, size))]
    if kind != 1:
        return [range(begin, begin + size)]
    count_at = 8 if size == 2048 else 12
    slots_end = begin + count_at + 2 + 2 * struct.unpack_from("<H", data, begin + count_at)[0]
    return [range(begin, slots_end), range(slots_end + free, begin + size)]


def list_flips(stores, kinds):
    """(store, file, offset, bit) for every bit of the pages of those kinds (the names in Mutant.place) in all
    databases."""
    for store, files in enumerate(stores):
        for name, data in sorted(files.items()):
            if not name.endswith(".mdb"):
                continue
            for page in range(len(data) // page_bytes_of(data)):
                if describe_page(data, page) in kinds:
                    yield from ((store, name, offset, bit) for used in used_ranges(data, page)
                                for offset in used for bit in range(8))


def make_flip(stores, flip, number):
    store, file, offset, bit = flip
    data = bytearray(stores[store][file])
    page, in_page = divmod(offset, page_bytes_of(data))
    data[offset] ^= 1 << bit
    return Mutant(number, store, file, "bit flips", describe_page(stores[store][file], page),
                  f"page {page} byte {in_page} bit {bit}", data)
