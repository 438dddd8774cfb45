"""Does with pexpect what session.expect does with expect."""
import sys

import pexpect

program, command, marker = sys.argv[1:]
child = pexpect.spawn(program, echo=False, timeout=None)
child.delaybeforesend = None
for count in sys.stdin:
    for _ in range(int(count)):
        child.send(command + "\n")
        child.expect_exact(marker)
    print("done", flush=True)
