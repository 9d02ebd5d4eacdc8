"""An interactive shell in a terminal of its own."""

import fcntl
import os
import pty
import select
import signal
import struct
import termios
import time

SECONDS = 20


class Terminal:
    """Owns the shell's process and its terminal; close() ends both."""

    def __init__(self, command, environment, directory):
        self.screen = b""
        self.pid, self.file = pty.fork()
        if self.pid == 0:
            try:
                # Wide and high, so that no list is cut or asks whether to be shown.
                fcntl.ioctl(0, termios.TIOCSWINSZ, struct.pack("HHHH", 3000, 250, 0, 0))
                os.chdir(directory)
                os.execvpe(command[0], command, environment)
            finally:
                os._exit(127)

    def send(self, keys):
        os.write(self.file, keys.encode())

    def forget(self):
        self.screen = b""

    def wait_for(self, condition, what):
        """Reads until condition(what is on the screen, as text) holds; an AssertionError when it does not in time."""
        end = time.monotonic() + SECONDS
        while True:
            text = self.screen.decode(errors="replace")
            if condition(text):
                return text
            if time.monotonic() > end:
                raise AssertionError("%s: not seen in %d s; the screen has\n%s" % (what, SECONDS, ascii(text[-3000:])))
            if select.select([self.file], [], [], 0.01)[0]:
                try:
                    self.screen += os.read(self.file, 65536)
                except OSError:
                    raise AssertionError("%s: the shell has ended; the screen has\n%s" % (what, ascii(text[-3000:])))

    def quiet(self, seconds):
        """Reads until nothing has come for so long, and returns what is on the screen."""
        while select.select([self.file], [], [], seconds)[0]:
            try:
                self.screen += os.read(self.file, 65536)
            except OSError:
                break
        return self.screen.decode(errors="replace")

    def close(self):
        os.close(self.file)  # its shell gets a hang-up
        for attempt in range(200):
            if os.waitpid(self.pid, os.WNOHANG)[0] != 0:
                return
            time.sleep(0.01)
        os.kill(self.pid, signal.SIGKILL)
        os.waitpid(self.pid, 0)
