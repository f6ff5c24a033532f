"""What the tests of portable folders share: refusals and acceptances by every command."""

from sandbox import NOT_INSTALLED, failure, status

COMMANDS = ("--status-portable", "--install-portable", "--remove-portable")


def expect_refused(box, detail, root=None, **options):
    """All three commands refuse the root alike, and change nothing."""
    with box.unchanged():
        for command in COMMANDS:
            answer = (box.run(command, root, **options) if isinstance(root, (str, bytes))
                      else box.portable(command, root, **options))
            assert answer == failure("target-invalid", 40, detail)


def expect_accepted(box, root=None):
    with box.unchanged():
        assert box.portable("--status-portable", root) == status("not-installed")
        assert box.portable("--remove-portable", root) == NOT_INSTALLED


def replaced_by_link(folder, spare):
    """Moves the folder away and leaves a link to it: only its being a link is wrong."""
    folder.rename(spare)
    folder.symlink_to(spare)
