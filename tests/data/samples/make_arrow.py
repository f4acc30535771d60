"""Writes the samples of arrow_test.cpp into the current folder, with pyarrow and polars."""

import datetime
import decimal

import polars
import pyarrow as pa
import pyarrow.feather
import pyarrow.parquet

DAY = datetime.date(1970, 1, 3)
TABLE = pa.table(
    {
        "whole": pa.array([-100, None, 7] * 4, pa.int8()),
        "long": pa.array([2**53 + 1, 4, None] * 4, pa.int64()),
        "unsigned": pa.array([2**64 - 1, 0, 1] * 4, pa.uint64()),
        "half": pa.array([0.5, -2.0, None] * 4, pa.float16()),
        "single": pa.array([0.1, None, -3.0] * 4, pa.float32()),
        "number": pa.array([0.1, -1e300, 2.5] * 4, pa.float64()),
        "flag": pa.array([True, False, None] * 4),
        "text": pa.array(["a", "a text of more than twelve bytes", ""] * 4),
        "large": pa.array(["b", None, "bé"] * 4, pa.large_string()),
        "day": pa.array([DAY, None, DAY] * 4),
        "moment": pa.array([1_500_000_001, -1, None] * 4, pa.timestamp("us", "UTC")),
        "fine": pa.array([1_500_000_001_999, -1_999, None] * 4, pa.timestamp("ns")),
        "decimal": pa.array([decimal.Decimal("-0.07"), None, decimal.Decimal("12.30")] * 4),
        "digits": pa.array(
            [decimal.Decimal(10**30 + 1), None, decimal.Decimal(-4)] * 4, pa.decimal128(38, 0)
        ),
        "nothing": pa.nulls(12),
        "list": pa.array([[1], None, [2, 3]] * 4),
        "colour": pa.array(["red", None, "green"] * 4),
    }
)
CODED = TABLE.set_column(16, "colour", TABLE["colour"].dictionary_encode())

pa.parquet.write_table(TABLE, "types.parquet")
pa.feather.write_feather(CODED, "types.feather", compression="lz4", chunksize=5)
with pa.ipc.new_stream("types.arrows", CODED.schema) as stream:
    for batch in CODED.to_batches(max_chunksize=7):
        stream.write_batch(batch)
frame = polars.from_arrow(CODED.drop_columns(["nothing", "half"]))
frame.write_ipc("views.arrow", compression="zstd")

# Columns that no variable can hold, between some that one can.
NESTED = pa.table(
    {
        "first": pa.array([1, None, 3, 4]),
        "structure": pa.array([{"p": 1, "q": [1, 2], "r": "x"}] * 4),
        "map": pa.array([[("k", 1)]] * 4, pa.map_(pa.string(), pa.int32())),
        "pairs": pa.array([[1, 2]] * 4, pa.list_(pa.int8(), 2)),
        "view": pa.array([[1], [2]] * 2, pa.list_view(pa.int8())),
        "runs": pa.RunEndEncodedArray.from_arrays(pa.array([1, 4], pa.int32()), pa.array([1, 2])),
        "sparse": pa.UnionArray.from_sparse(
            pa.array([0, 1] * 2, pa.int8()), [pa.array(range(4)), pa.array(["v"] * 4)]
        ),
        "texts": pa.array([None, "a text of more than twelve bytes", "b", "b"], pa.string_view()),
        "coded": pa.array([{"c": "x"}] * 4, pa.struct([("c", pa.dictionary(pa.int8(), pa.string()))])),
        "wide": pa.array([None, decimal.Decimal("-1.25")] * 2, pa.decimal256(40, 2)),
        "entries": pa.DictionaryArray.from_arrays(pa.array([0, 1, None, 1], pa.int8()), pa.array([1.5, 2.5])),
        "duration": pa.array([1500, None] * 2, pa.duration("ms")),
        "last": pa.array(["y", "", None, "x"], pa.binary()),
    }
)
with pa.ipc.new_file("nested.arrow", NESTED.schema) as file:
    file.write_table(NESTED, max_chunksize=3)


def coded(cells: list[int | None], entries: list[str]) -> pa.RecordBatch:
    """A batch of one column."""
    return pa.record_batch(
        {"c": pa.DictionaryArray.from_arrays(pa.array(cells, pa.int8()), pa.array(entries))}
    )


for name, deltas in (("replaced.arrows", False), ("grown.arrows", True)):
    options = pa.ipc.IpcWriteOptions(emit_dictionary_deltas=deltas)
    with pa.ipc.new_stream(name, coded([0], ["x"]).schema, options=options) as stream:
        stream.write_batch(coded([0, 1, 0], ["x", "y"]))
        stream.write_batch(coded([2, 1, None], ["x", "y", "w"]))

# Damaged: the dictionary of numbers and that of texts get one number.
CODES = pa.array([0, 1, 2] * 4, pa.int8())
TWO = pa.record_batch(
    {
        "a": pa.DictionaryArray.from_arrays(CODES, pa.array([100, 101, 127], pa.int8())),
        "b": pa.DictionaryArray.from_arrays(CODES, pa.array(["x", "y", "z"])),
    }
)
with pa.ipc.new_stream("shared.arrows", TWO.schema) as stream:
    stream.write_batch(TWO)
with open("shared.arrows", "r+b") as file:
    file.seek(112)  # the number of the dictionary of b
    assert file.read(1) == b"\1"
    file.seek(112)
    file.write(b"\0")
