# SPDX-License-Identifier: MIT
# How gdb prints Bits, SerialBuffer, Guid and SysTime. gdb loads this by itself where the library is
# installed below /usr; elsewhere, tell it: source packaging/gdb/printers.py
# It has to know the classes: from the library's debug symbols (libvorn-bases1-dbgsym), or from a
# program compiled with -g and -femit-class-debug-always (Clang: -fstandalone-debug).

import gdb
import gdb.printing

BITS_SHOWN = 256  # of a set, from position 0 on
BYTES_SHOWN = 32  # of a buffer, from the front


def array_of(owner):
    """The address in a std::unique_ptr to an array, which is all that it holds."""
    byte = gdb.lookup_type("unsigned char").pointer()
    return owner.address.cast(byte.pointer()).dereference()


def bytes_at(address, count):
    return bytes(gdb.selected_inferior().read_memory(int(address), count)) if count else b""


class BitsPrinter:
    """The size and the text of Bits::ToString: the last character is position 0."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        size = int(self.value["m_nSize"])
        shown = min(size, BITS_SHOWN)
        data = int.from_bytes(bytes_at(array_of(self.value["m_pData"]), (shown + 7) // 8), "little")
        text = "".join("1" if data >> i & 1 else "0" for i in reversed(range(shown)))
        return "%d bits: %s%s" % (size, "..." if shown < size else "", text) if size else "0 bits"


class SerialBufferPrinter:
    """The number of bytes in use, the capacity, and the first bytes."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        size = int(self.value["m_nSize"])
        capacity = int(self.value["m_nMaxSize"])
        shown = min(size, capacity, BYTES_SHOWN)
        text = bytes_at(array_of(self.value["m_pBuffer"]), shown).hex(" ")
        dots = " ..." if shown < size else ""
        return "%d of %d bytes%s%s" % (size, capacity, ": " + text if text else "", dots)


class GuidPrinter:
    """The text of Guid::ToString, also of the nil identifier."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        text = bytes_at(self.value.address, 16).hex()
        return "-".join((text[:8], text[8:12], text[12:16], text[16:20], text[20:]))


class SysTimePrinter:
    """Date and time; nothing is checked."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        names = ("year", "month", "day", "hour", "minute", "second", "milliseconds")
        text = "%04d-%02d-%02d %02d:%02d:%02d.%03d" % tuple(int(self.value[n]) for n in names)
        days = ("Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat")
        day = int(self.value["dayOfWeek"])
        return "%s %s" % (days[day] if 0 <= day < 7 else "day %d" % day, text)


def register(objfile):
    printers = gdb.printing.RegexpCollectionPrettyPrinter("libVorn-Bases")
    printers.add_printer("Bits", "^Vorn::Bits$", BitsPrinter)
    printers.add_printer("SerialBuffer", "^Vorn::SerialBuffer$", SerialBufferPrinter)
    printers.add_printer("Guid", "^Vorn::Guid$", GuidPrinter)
    printers.add_printer("SysTime", "^Vorn::SysTime$", SysTimePrinter)
    gdb.printing.register_pretty_printer(objfile, printers, replace=True)


register(gdb.current_objfile())
