import os
import sys

import pytest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.environ.get("VLMATHDSP_PACKAGE_PATH", os.path.join(ROOT, "build", "python")))


@pytest.fixture
def threads():
    """Restores the thread count after a test that changes it."""
    import vlmathdsp as vm
    before = vm.get_num_threads()
    yield vm.set_num_threads
    vm.set_num_threads(before)
