"""Per function: the calls a face received and those it handed to SciPy's own function, printed
at the end of the session."""

import collections

from vlmathdsp.scipy import _face

calls = collections.Counter()
handed_back = collections.Counter()


def count_hand_backs():
    original = _face.hand_back

    def counted(name, scipys, args, kwargs):
        handed_back[name] += 1
        return original(name, scipys, args, kwargs)
    _face.hand_back = counted


def summary(terminalreporter, face):
    terminalreporter.write_line(f"{face}: calls served / handed back to SciPy, by function")
    for name in sorted(calls):
        back = handed_back[name]
        terminalreporter.write_line(f"  {name:20s} {calls[name] - back:7d} / {back}")
    total, back = sum(calls.values()), sum(handed_back.values())
    terminalreporter.write_line(f"  {'all':20s} {total - back:7d} / {back}")
