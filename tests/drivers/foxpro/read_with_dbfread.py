# Prints the rows of a table as an independent reader sees them: a line a record, fields separated by
# tabs, deleted records left out. Texts and bytes in hexadecimal digits, so that nothing is lost on the way.
import datetime
import sys

import dbfread


def shown(value):
    if value is None:
        return "null"
    if isinstance(value, bool):
        return "yes" if value else "no"
    if isinstance(value, (int, float)) or type(value).__name__ == "Decimal":
        return "%.14g" % float(value)
    if isinstance(value, datetime.datetime):
        return (value + datetime.timedelta(microseconds=500000)).isoformat(" ")[:19]
    if isinstance(value, datetime.date):
        return value.isoformat() + " 00:00:00"
    if isinstance(value, bytes):
        return value.hex()
    return value.encode("utf-8").hex()


encoding = sys.argv[2] if len(sys.argv) > 2 else None
for record in dbfread.DBF(sys.argv[1], encoding=encoding, ignore_missing_memofile=True, recfactory=list):
    print("\t".join(shown(value) for name, value in record if name != "_NullFlags"))
