"""Checks documents against docs/schemas, as far as those schemas go and with nothing but Python."""

import json
import pathlib
import re

FOLDER = pathlib.Path(__file__).resolve().parents[2] / "docs" / "schemas"
SCHEMAS = {path.name: json.loads(path.read_text(encoding="utf-8"))
           for path in FOLDER.glob("*.json")}

TYPES = {
    "object": lambda value: isinstance(value, dict),
    "array": lambda value: isinstance(value, list),
    "string": lambda value: isinstance(value, str),
    "boolean": lambda value: isinstance(value, bool),
    "integer": lambda value: isinstance(value, int) and not isinstance(value, bool),
}


def check_additional(value, allowed, schema, where):
    assert allowed is False, f"{where}: a schema that only forbids further keys was expected"
    further = sorted(set(value) - set(schema["properties"]))
    assert not further, f"{where}: undocumented {further}"


def check_any(value, schemas, where):
    for schema in schemas:
        try:
            return check(value, schema, where)
        except AssertionError:
            pass
    raise AssertionError(f"{where}: {value!r} is none of what is documented")


def fact(holds, where, what, value):
    assert holds, f"{where}: {value!r} {what}"


# What a keyword asks of a value: the value, the keyword's own value, its schema, where.
KEYWORDS = {
    "type": lambda value, name, _, where: fact(TYPES[name](value), where, f"is no {name}", value),
    "properties": lambda value, properties, _, where: [
        check(value[key], schema, f"{where}.{key}")
        for key, schema in properties.items() if key in value],
    "required": lambda value, keys, _, where: fact(
        set(keys) <= set(value), where, f"lacks one of {keys}", sorted(value)),
    "additionalProperties": check_additional,
    "items": lambda value, schema, _, where: [
        check(item, schema, f"{where}[{at}]") for at, item in enumerate(value)],
    "enum": lambda value, words, _, where: fact(
        value in words, where, f"is none of {words}", value),
    "const": lambda value, constant, _, where: fact(
        value == constant, where, f"is not {constant!r}", value),
    "pattern": lambda value, pattern, _, where: fact(
        re.search(pattern, value), where, f"does not match {pattern}", value),
    "minimum": lambda value, least, _, where: fact(value >= least, where, "is too small", value),
    "maximum": lambda value, most, _, where: fact(value <= most, where, "is too large", value),
    "minItems": lambda value, least, _, where: fact(
        len(value) >= least, where, "is too short", value),
    "maxItems": lambda value, most, _, where: fact(
        len(value) <= most, where, "is too long", value),
    "uniqueItems": lambda value, _, __, where: fact(
        len(set(map(json.dumps, value))) == len(value), where, "repeats itself", value),
    "anyOf": lambda value, schemas, _, where: check_any(value, schemas, where),
    "$ref": lambda value, name, _, where: check(value, SCHEMAS[name], where),
}
SAYS_NOTHING = {"$schema", "$id", "title", "description"}


def check(value, schema, where="the document"):
    """Raises AssertionError where the value is not what the schema asks for."""
    for keyword, asked in schema.items():
        if keyword not in SAYS_NOTHING:
            KEYWORDS[keyword](value, asked, schema, where)


def validate(name, document):
    check(document, SCHEMAS[name])
