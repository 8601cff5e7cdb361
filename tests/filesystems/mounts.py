# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
"""The file systems that recordings come on, mounted below a directory: cards, disks and shares.

All of it lives in a view of its own of the mounts and processes of the system, which ends with the
script: nothing stays mounted, and no server stays behind."""

import contextlib
import glob
import os
import select
import shutil
import signal
import subprocess
import sys

MEDIUM_BYTES = 24 << 20
IMAGE_BYTES = 18 << 20
CLUSTER = 4096

SFTP_SERVER = shutil.which(
    "sftp-server", path="/usr/lib/openssh:/usr/lib/ssh:/usr/libexec/openssh") or "sftp-server"

# Programs by the packages that have them.
PACKAGES = {"mount.exfat-fuse": "exfat-fuse", "mkfs.exfat": "exfatprogs", "ntfs-3g": "ntfs-3g",
            "mkntfs": "ntfs-3g", "bindfs": "bindfs", "sshfs": "sshfs",
            SFTP_SERVER: "openssh-sftp-server", "unshare": "util-linux", "losetup": "mount"}


def enter_own_view():
    """Starts this script again in a view of its own. Returns why there is none, or ""."""
    if os.environ.pop("SPLICORA_OWN_VIEW", None):
        subprocess.run(["mount", "--make-rprivate", "/"], check=True)
        return ""
    command = ["unshare", "--mount", "--pid", "--fork", "--kill-child", "--mount-proc"]
    if os.getuid() != 0:
        command += ["--map-root-user"]
    tried = subprocess.run([*command, "true"], capture_output=True, text=True, check=False)
    if tried.returncode != 0:
        return tried.stderr.strip()
    os.environ["SPLICORA_OWN_VIEW"] = "1"
    sys.stdout.flush()
    os.execvp(command[0], [*command, sys.executable, *sys.argv])


def call(*command):
    done = subprocess.run(command, capture_output=True, text=True, check=False,
                          stdin=subprocess.DEVNULL)
    if done.returncode != 0:
        said = " ".join((done.stderr or done.stdout).split())
        raise OSError(f"{os.path.basename(command[0])}: {said}")
    return done.stdout


def let_go(path):
    """Takes away what is mounted there, if anything; what is open stays open."""
    return subprocess.run(["umount", "--lazy", path], capture_output=True,
                          check=False).returncode == 0


def processes(of_programs):
    """Numbers of the running processes of these programs, the oldest first."""
    found = []
    for entry in glob.glob("/proc/[0-9]*/exe"):
        try:
            if os.path.basename(os.readlink(entry)) in of_programs:
                found.append(int(entry.split("/")[2]))
        except OSError:
            pass  # it has ended by now
    return sorted(found)


def end(numbers):
    for number in numbers:
        with contextlib.suppress(ProcessLookupError):
            process = os.pidfd_open(number)
            signal.pidfd_send_signal(process, signal.SIGKILL)
            select.select([process], [], [])
            os.close(process)


class FileSystem:
    """A file system, fresh and empty at `root` from mount() to unmount(). A kind has attach(), with
    the options of the mount."""

    name = ""
    servers = []  # the programs that serve it

    def __init__(self, work):
        self.root = os.path.join(work, self.name + " root")
        self.below = os.path.join(work, self.name + " below")
        os.mkdir(self.root)
        os.mkdir(self.below)
        self.device = os.path.join(self.below, "device")
        self.others = processes(self.servers)

    def prepare(self):
        """Makes what is mounted, empty."""
        self.clean()
        call("mount", "-t", "tmpfs", "-o", f"size={MEDIUM_BYTES}", "tmpfs", self.below)

    def mount(self, *options):
        self.others = processes(self.servers)
        self.attach(options)

    def unmount(self):
        call("umount", self.root)
        self.end_server()  # where it outlives the mount

    def mount_again(self, *options):
        """Only what came to the medium is there afterwards."""
        self.unmount()
        self.mount(*options)

    def mount_after_failure(self):
        """Mounts the medium after its server, or what lies below it, has ended."""
        let_go(self.root)
        self.end_server()
        self.mount()

    def detach(self):
        let_go(self.root)

    def end_server(self):
        end(number for number in processes(self.servers) if number not in self.others)

    def clean(self):
        """Leaves nothing mounted."""
        for path in self.root, self.device, self.below:
            while let_go(path):
                pass
        self.end_server()

    def fill(self, room):
        """Leaves `room` bytes."""
        with open(os.path.join(self.root, "filler"), "ab") as filler:
            for _ in range(100):
                there = os.statvfs(self.root)
                more = there.f_bavail * there.f_frsize - room
                if more == 0:
                    return
                size = os.fstat(filler.fileno()).st_size + more
                try:
                    if more > 0:
                        filler.write(b"\xff" * more)
                        filler.flush()
                    else:
                        os.ftruncate(filler.fileno(), size)
                except OSError:
                    pass  # a few clusters more or less: measured again
        raise OSError(f"{self.name}: no way to leave {room} bytes")


class Bindfs(FileSystem):
    name = "bindfs"
    servers = ["bindfs"]

    def attach(self, options):
        call("bindfs", "-o", ",".join(("default_permissions", *options)), self.below, self.root)


class Image(FileSystem):
    """A file system in an image, as it is on a card."""

    maker = []  # formats an image

    def prepare(self):
        super().prepare()
        image = os.path.join(self.below, "image")
        os.mkdir(self.device)
        with open(image, "wb") as file:
            file.truncate(IMAGE_BYTES)
        call(*self.maker, image)


class Exfat(Image):
    name = "exFAT"
    servers = ["mount.exfat-fuse"]
    maker = ["mkfs.exfat", "-c", str(CLUSTER)]

    def attach(self, options):
        loop = call("losetup", "--find", "--show", os.path.join(self.below, "image")).strip()
        try:
            call("mount.exfat-fuse", "-o", ",".join(("rw", *options)), loop, self.root)
        finally:
            call("losetup", "--detach", loop)  # as soon as it is unmounted


class Ntfs(Image):
    name = "NTFS"
    servers = ["ntfs-3g"]
    maker = ["mkntfs", "--quiet", "--force", "--fast", "--cluster-size", str(CLUSTER)]
    has_device = False  # below a server of its own, which can be ended

    def attach(self, options):
        image = os.path.join(self.below, "image")
        if self.has_device:
            call("bindfs", self.below, self.device)
            self.bindings = processes(["bindfs"])
            image = os.path.join(self.device, "image")
        call("ntfs-3g", "-o", ",".join(("rw", *options)), image, self.root)

    def unmount(self):
        super().unmount()
        let_go(self.device)

    def mount_after_failure(self):
        let_go(self.device)
        super().mount_after_failure()

    def pull(self):
        """Takes the disk away from below the file system."""
        end(self.bindings[-1:])


class Sshfs(FileSystem):
    """Its server is at the other end of a pipe instead of a connection."""

    name = "SSHFS"
    servers = ["sftp-server"]

    def attach(self, options):
        call("sshfs", "-o", f"ssh_command=sh -c {SFTP_SERVER}",
             *(f"-o{option}" for option in options), f"server:{self.below}", self.root)


def available(kind, work):
    """A file system of this kind that was mounted once, or why that is not possible."""
    it = kind(work)
    try:
        it.prepare()
        it.mount()
        with open(os.path.join(it.root, "probe"), "w", encoding="ascii"):
            pass
        return it, ""
    except OSError as error:
        return None, str(error)
    finally:
        it.clean()
