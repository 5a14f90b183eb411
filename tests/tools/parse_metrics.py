"""Parses a Prometheus text exposition with prometheus_client's own parser.

usage: parse_metrics.py FILE; prints one line per sample,
`name{label="value",...} value` with the labels sorted, and exits 0; on a
parse error prints the parser's reason to stderr and exits 1.
"""
import sys

from prometheus_client.parser import text_string_to_metric_families


def main() -> int:
    with open(sys.argv[1], encoding="utf-8") as f:
        text = f.read()
    try:
        for family in text_string_to_metric_families(text):
            for sample in family.samples:
                labels = ",".join(f'{k}="{v}"' for k, v in sorted(sample.labels.items()))
                print(f"{sample.name}{{{labels}}} {sample.value!r}")
    except ValueError as error:
        print(f"not a valid exposition: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
