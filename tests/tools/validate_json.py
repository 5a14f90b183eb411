"""Checks a qsfpctl JSON output against its committed schema.

usage: validate_json.py SCHEMA OUTPUT; exit 0 when valid, else 1 with the reason.
"""
import json
import sys

import jsonschema


def main() -> int:
    with open(sys.argv[1], encoding="utf-8") as f:
        schema = json.load(f)
    with open(sys.argv[2], encoding="utf-8") as f:
        output = json.load(f)
    validator = jsonschema.validators.validator_for(schema)
    validator.check_schema(schema)
    errors = sorted(validator(schema).iter_errors(output), key=lambda e: list(e.path))
    for error in errors:
        print(f"{'/'.join(str(p) for p in error.path)}: {error.message}", file=sys.stderr)
    return 1 if errors else 0


if __name__ == "__main__":
    sys.exit(main())
