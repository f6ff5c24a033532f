"""What the program is held to, and how far it keeps to it."""

from dataclasses import dataclass

from cases import MIB, PORTABLE, STANDARD

COMMANDS = STANDARD + PORTABLE


@dataclass(frozen=True)
class Target:
    text: str
    limit: float
    values: callable  # of the figures and a place: pairs of a value and what it is about


def over_the_floor(figures, place):
    for one in figures.series:
        if one.place == place and one.case.library >= 64 * MIB:
            yield one.ratio("floor"), f"`{one.command}`, {one.case.name}"


def over_nsis(figures, place):
    for one in figures.of(place, "--install-standard"):
        if one.case.library == MIB:
            for name in one.contestants:
                if name.startswith("NSIS"):
                    yield one.ratio(name), name


def by_size(figures, place, command):
    return {one.case.library: one for one in figures.of(place, command)}


def growth_of_memory(figures, place):
    for command in COMMANDS:
        sizes = by_size(figures, place, command)
        yield (max(one.memory() for one in sizes.values()) / sizes[min(sizes)].memory(),
               f"`{command}`")


def growth_of_time(figures, place):
    for command in COMMANDS:
        sizes = by_size(figures, place, command)
        if 512 * MIB in sizes:
            yield (sizes[512 * MIB].seconds() / (8 * sizes[64 * MIB].seconds()), f"`{command}`")


def growth_with_files(figures, place):
    few, many = (figures.with_files(place, count) for count in (1000, 10000))
    for command, one in few.items():
        yield many[command].seconds() / one.seconds(), f"`{command}`"


TARGETS = (
    Target("time over the floor's, from 64 MiB on", 1.10, over_the_floor),
    Target("time of installing 1 MiB over that of an NSIS installer", 1.00, over_nsis),
    Target("most memory of any size over that of 32 KiB", 1.05, growth_of_memory),
    Target("time of 512 MiB over eight times that of 64 MiB", 1.15, growth_of_time),
    Target("time of 10,000 files over that of 1,000", 12, growth_with_files),
)


def worst(target, figures, place):
    values = list(target.values(figures, place))
    if not values:
        return ""
    value, about = max(values)
    return f"{value:.2f} ({about}){'' if value <= target.limit else ' **missed**'}"


def target_rows(figures):
    return [[target.text, f"{target.limit:.2f}", *(worst(target, figures, place)
                                                   for place in ("host", "Wine"))]
            for target in TARGETS]
