"""Times Python's decimal module on the work of DecimalBench: prints one line for each, name and nanoseconds."""
import time
from decimal import ROUND_HALF_UP, Decimal, getcontext

getcontext().prec = 38
CENT = Decimal("0.01")
HUNDRED = Decimal(100)
LINES = 10000

texts = [f"{i * 7919 % 10000}.{i * 31 % 100:02}" for i in range(256)]
prices = [Decimal(text) for text in texts]
rates = [Decimal(3 + i * 7 % 25) for i in range(256)]
longs = [Decimal(text + "37") for text in texts]


def two_digits(amount):
    return amount.quantize(CENT, ROUND_HALF_UP)


def invoice():
    length, total = 0, Decimal(0)
    for line in range(LINES):
        i = line % 256
        net = two_digits(longs[i] * (line % 20 + 1))
        tax = two_digits(net * rates[i] / HUNDRED)
        gross = net + tax
        length += len(str(net)) + len(str(tax)) + len(str(gross))
        total += gross
    return length + len(str(total))


def nanoseconds(work, count):
    runs = []
    for _ in range(5):
        begin = time.perf_counter_ns()
        work()
        runs.append((time.perf_counter_ns() - begin) / count)
    return sorted(runs)[2]


def each(operation):
    rounds = range(40)
    indices = range(256)
    return nanoseconds(lambda: [operation(i) for _ in rounds for i in indices], 40 * 256)


print("decimal/add", each(lambda i: prices[i] + prices[i - 1]))
print("decimal/multiply", each(lambda i: prices[i] * rates[i]))
print("decimal/divide", each(lambda i: prices[i] / rates[i]))
print("decimal/round", each(lambda i: two_digits(longs[i])))
print("decimal/parse", each(lambda i: Decimal(texts[i])))
print("decimal/text", each(lambda i: str(prices[i])))
print("money/invoice", nanoseconds(invoice, 1))
