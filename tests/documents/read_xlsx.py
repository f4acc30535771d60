"""Reads a spreadsheet file with openpyxl and prints what it holds as JSON: the test's independent reader."""
import json
import sys

import openpyxl

book = openpyxl.load_workbook(sys.argv[1])
print(json.dumps([
    {
        "name": sheet.title,
        "frozen": sheet.freeze_panes,
        "filter": sheet.auto_filter.ref,
        "rows": [[cell.value for cell in row] for row in sheet.iter_rows()],
        "formats": [[cell.number_format for cell in row] for row in sheet.iter_rows()],
        "comments": [cell.comment.text for row in sheet.iter_rows() for cell in row if cell.comment],
        "links": [cell.hyperlink.location for row in sheet.iter_rows() for cell in row if cell.hyperlink],
    }
    for sheet in book.worksheets
]))
