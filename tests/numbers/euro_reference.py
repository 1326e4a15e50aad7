#!/usr/bin/env python3
"""Expected euro conversions, computed with Python's decimal module.

This is the independent reference of tests/numbers/euro_test.cpp: the rates
below are typed from the published fixed rates, not read from the library.

  euro_reference.py conversions   one line per (from, to, amount):
      FROM TO value scale  result_value result_scale  difference_value difference_scale
    or FROM TO value scale overflow  when the amount or the result does not
    fit 64 bits.
    An amount is value * 10^-scale; results are in the target's smallest unit
    (scale = its decimals); the difference is rounded minus exact, to six more
    decimals.
  euro_reference.py reals         one line per real: its bits as a hexadecimal
      float, then the shortest decimal that reads back as it (value scale),
      rounded to 18 decimals as amounts are.
"""
import random
import sys
from decimal import ROUND_HALF_UP, Decimal, getcontext

getcontext().prec = 120

# code: (units for one euro, decimals of the smallest unit)
RATES = {
    "EUR": ("1", 2),
    "BEF": ("40.3399", 0),
    "DEM": ("1.95583", 2),
    "ESP": ("166.386", 0),
    "FRF": ("6.55957", 2),
    "IEP": ("0.787564", 2),
    "ITL": ("1936.27", 0),
    "LUF": ("40.3399", 0),
    "NLG": ("2.20371", 2),
    "ATS": ("13.7603", 2),
    "PTE": ("200.482", 0),
    "FIM": ("5.94573", 2),
    "GRD": ("340.750", 0),
    "SIT": ("239.640", 2),
    "CYP": ("0.585274", 2),
    "MTL": ("0.429300", 2),
    "SKK": ("30.1260", 2),
    "EEK": ("15.6466", 2),
    "LVL": ("0.702804", 2),
    "LTL": ("3.45280", 2),
    "HRK": ("7.53450", 2),
    "BGN": ("1.95583", 2),
}
INT64_MAX = 2**63 - 1


def amounts(rng):
    fixed = [(0, 0), (1, 0), (-1, 0), (5, 1), (-5, 1), (50, 2), (1, 2), (99, 2), (100, 0), (12345, 2),
             (1000000, 0), (123456789, 3), (-987654321, 2), (1, 18), (999999999999999999, 18),
             (9223372036854775807, 0), (-9223372036854775807, 0), (9223372036854775807, 4), (7, -3),
             (15, 1), (25, 1), (35, 1), (45, 1), (155, 2), (405, 1), (5, 0)]
    out = list(fixed)
    for _ in range(44):
        scale = rng.randint(-3, 18)
        digits = rng.randint(1, 18)
        value = rng.randint(-(10**digits), 10**digits)
        out.append((value, scale))
    return out


def conversions():
    rng = random.Random(20260101)
    lines = []
    for src, (src_rate, _) in RATES.items():
        for dst, (dst_rate, decimals) in RATES.items():
            for value, scale in amounts(rng):
                amount = Decimal(value).scaleb(-scale)
                # Through the euro: amount / src_rate is the euro amount, never
                # rounded; multiplying first keeps the division the last step,
                # so a result exactly halfway is not lost to its last digit.
                exact = amount * Decimal(dst_rate) / Decimal(src_rate)
                unit = Decimal(1).scaleb(-decimals)
                rounded = exact.quantize(unit, rounding=ROUND_HALF_UP)
                units = int(rounded.scaleb(decimals))
                # An amount must itself fit 64 bits once its decimals (if
                # any) are kept: 12 at scale -18 is refused, not converted.
                whole = abs(value) * 10**max(-scale, 0)
                if abs(units) > INT64_MAX or whole > INT64_MAX:
                    lines.append(f"{src} {dst} {value} {scale} overflow")
                    continue
                difference = (rounded - exact).quantize(Decimal(1).scaleb(-(decimals + 6)), rounding=ROUND_HALF_UP)
                lines.append(f"{src} {dst} {value} {scale} {units} {decimals} "
                             f"{int(difference.scaleb(decimals + 6))} {decimals + 6}")
    return lines


def reals():
    rng = random.Random(7)
    values = [0.1, 0.2, 0.3, 1.1, 2.675, 1e-7, 123456.789, 1e15, 9.007199254740993e15, 5e-324, 0.5, 15.245,
              1234567.891, 100.0, 1e18 - 1]
    for _ in range(300):
        values.append(round(rng.uniform(-1e6, 1e6), rng.randint(0, 6)))
        values.append(rng.uniform(-1e3, 1e3))
    lines = []
    for x in values:
        d = Decimal(repr(x))
        if d.as_tuple().exponent < -18:  # amounts keep 18 decimals at most
            d = d.quantize(Decimal(1).scaleb(-18), rounding=ROUND_HALF_UP)
        d = d.normalize()
        exponent = d.as_tuple().exponent
        if exponent > 0:
            value, scale = int(d), 0
        else:
            value, scale = int(d.scaleb(-exponent)), -exponent
        lines.append(f"{x.hex()} {value} {scale}")
    return lines


if __name__ == "__main__":
    what = sys.argv[1] if len(sys.argv) > 1 else "conversions"
    print("\n".join(conversions() if what == "conversions" else reals()))
