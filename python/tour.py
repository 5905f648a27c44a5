"""A tour of vlmathdsp on realistic workloads: for each, what it computed, our time, the
peer's time, and how closely the two agree."""

import os
import sys

import numpy as np
from scipy import signal

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(ROOT, "bench"))

from harness import Report, median_times  # noqa: E402

import vlmathdsp as vm  # noqa: E402


def mass_spring_chain(masses=32, dt=1e-3):
    """A chain of masses joined by springs and dampers, the first tied to a wall, driven by
    forces on four masses: 64 states (positions, then velocities), discretised exactly."""
    k, c, mass = 400.0, 0.4, 1.0
    K = np.zeros((masses, masses))
    for i in range(masses):
        K[i, i] = 2 * k if i < masses - 1 else k
        if i > 0:
            K[i, i - 1] = K[i - 1, i] = -k
    Cd = K * (c / k)
    Ac = np.block([[np.zeros((masses, masses)), np.eye(masses)], [-K / mass, -Cd / mass]])
    driven = [0, masses // 3, 2 * masses // 3, masses - 1]
    Bc = np.zeros((2 * masses, len(driven)))
    for j, i in enumerate(driven):
        Bc[masses + i, j] = 1.0 / mass
    A, B, _, _, _ = signal.cont2discrete((Ac, Bc, np.eye(2 * masses), np.zeros((2 * masses, len(driven)))), dt)
    return A, B


def state_space_workload(report):
    A, B = mass_spring_chain()
    steps = 20000
    t = np.arange(steps) * 1e-3
    rng = np.random.default_rng(1)
    # Forces: a chirp on the first mass, a pulse train, noise, and a step at the far end.
    U = np.column_stack([np.sin(2 * np.pi * (1 + 4 * t) * t), (np.sin(2 * np.pi * 3 * t) > 0.95) * 5.0,
                         0.5 * rng.standard_normal(steps), (t > 10) * 2.0])
    n = A.shape[0]
    C, D = np.eye(n)[:1], np.zeros((1, U.shape[1]))
    t_ours, t_scipy = median_times([lambda: vm.ltitr(A, B, U), lambda: signal.dlsim((A, B, C, D, 1e-3), U)],
                                   repeats=5)
    X = vm.ltitr(A, B, U)
    x = signal.dlsim((A, B, C, D, 1e-3), U)[2]
    masses = n // 2
    print(f"  damped chain of {masses} masses, {n} states, {steps} steps of 1 ms:")
    print(f"  largest excursion of the last mass {np.max(np.abs(X[:, masses - 1])):.4f} m, "
          f"final speed of the first mass {X[-1, masses]:+.4f} m/s")
    report.add("state-space response (ltitr vs dlsim)", t_ours, "scipy", t_scipy,
               note=f"max rel diff {np.max(np.abs(X - x)) / np.max(np.abs(x)):.1e}")


def main():
    print(f"vlmathdsp tour, {vm.get_num_threads()} threads")
    report = Report("workloads")
    report.header()
    state_space_workload(report)


if __name__ == "__main__":
    main()
