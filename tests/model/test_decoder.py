"""The model's question decoder, against literal bytes."""

from model.decoder import Question, decode_name, decode_question
from model.trace_texts import Trace

ZEROS = bytes(8180)


def decode(question_hex, size=1024, length=None):
    question = bytes.fromhex(question_hex)
    trace = Trace()
    decoded = decode_question(question + ZEROS, len(question) if length is None else length, trace, size)
    return decoded, trace.take()


def test_name_type_and_class_of_an_ordinary_question():
    assert decode("01 61 02 62 63 00 00 01 00 01") == (Question(b"a.bc", 1, 1), b"")
    assert decode("01 61 01 62 00 00 1c 00 01") == (Question(b"a.b", 28, 1), b"")


def test_the_last_dot_becomes_the_end_of_the_text():
    assert decode_name(bytes.fromhex("01 61 02 62 63 00"), 6, 1024, Trace()) == (b"a.bc\0", 5)


def test_a_root_name_has_no_text_but_type_and_class():
    assert decode("00 00 01 00 01") == (Question(b"", 1, 1), b"")


def test_a_pointer_ends_the_name_and_the_type_is_read_from_its_second_byte():
    line = b"func: ExtractDomain(line:482)ExtractDomain invalid value:-64\n"
    assert decode("c0 0c 00 01 00 01") == (Question(b"", 0x0C00, 0x0100), line)
    assert decode("01 61 c0 0c 00 01 00 01") == (Question(b"a", 0x0C00, 0x0100), line)


def test_missing_type_and_class_are_zero():
    assert decode("01 61 00") == (Question(b"a", 0, 0), b"")
    assert decode("01 61 00 00") == (Question(b"a", 0, 0), b"")
    assert decode("01 61 00 00 1c") == (Question(b"a", 28, 0), b"")


def test_a_label_that_fits_without_its_dot_has_no_end():
    line = b"func: ExtractDomain(line:504)ExtractDomain: buffer overflow when add suffix dot, chunk_len: 3\n"
    assert decode("03 61 62 63 00 00 01 00 01", size=3) == (Question(b"abc", 0x6162, 0x6300), line)


def test_a_label_that_does_not_fit_is_not_copied():
    line = b"func: ExtractDomain(line:488)ExtractDomain: buffer overflow when parsing qname, chunk_len: 3\n"
    assert decode("03 61 62 63 00 00 01 00 01", size=2) == (Question(b"", 0x6162, 0x6300), line)


def test_labels_of_64_to_127_bytes_are_taken():
    assert decode("40" + "61" * 64 + "00 0001 0001")[0] == Question(b"a" * 64, 1, 1)
    assert decode("7f" + "62" * 127 + "00 0001 0001")[0] == Question(b"b" * 127, 1, 1)


def test_a_label_past_the_end_takes_what_stands_there():
    assert decode("03 61 62 63 00", length=2) == (Question(b"abc", 0, 0), b"")
    assert decode("02 61") == (Question(b"a", 0, 0), b"")
    assert decode("01") == (Question(b"", 0, 0), b"")


def test_a_name_of_1023_bytes_fits_with_its_end():
    labels = ("7f" + "6e" * 127) * 7 + "7f" + "6f" * 127 + "00 0001 0001"
    assert decode(labels) == (Question((b"n" * 127 + b".") * 7 + b"o" * 127, 1, 1), b"")


def test_a_name_of_1024_bytes_lacks_nothing_but_its_end():
    labels = ("7f" + "6e" * 127) * 7 + "3f" + "6e" * 63 + "40" + "6f" * 64
    decoded, line = decode(labels)
    assert len(decoded.name) == 1024
    assert line == (
        b"func: ExtractDomain(line:504)ExtractDomain: buffer overflow when add suffix dot, chunk_len: 64\n"
    )


def test_a_nul_inside_a_label_ends_the_text():
    assert decode("03 61 00 62 01 63 00 0001 0001") == (Question(b"a", 1, 1), b"")
