#!/usr/bin/python3
"""Runs a command under the restrictions of a systemd unit, without systemd.

usage: under_unit.py [--as-user USER] [--run PATH]... [--write DIR]... UNIT COMMAND...
       under_unit.py --prove [--as-user USER] UNIT
       under_unit.py --list UNIT

--run PATH   the command may start this program or those below this folder, wherever it lies (a build tree, say)
--write DIR  the command may write below it
--prove      tries for each directive what it forbids, and prints a line for each
--list       prints which directives are put in force here, and which need systemd

Must be started as root. What is forbidden here is what systemd.exec(5) says, by the same means of the kernel: mounts
in a name space of their own, an empty set of capabilities, and filters for system calls.
"""
import ctypes
import errno
import os
import pwd
import re
import subprocess
import sys
import tempfile

import seccomp
from seccomp import ALLOW, EQ, ERRNO, GT, MASKED_EQ, NE, Arg, SyscallFilter

LIBC = ctypes.CDLL(None, use_errno=True)
CLONE_NEWNS, CLONE_NEWUTS = 0x00020000, 0x04000000
NAMESPACES = [0x00000080, CLONE_NEWNS, 0x02000000, CLONE_NEWUTS, 0x08000000, 0x10000000, 0x20000000, 0x40000000]
PR_CAPBSET_DROP, PR_SET_NO_NEW_PRIVS = 24, 38
FAMILIES = {"AF_UNIX": 1, "AF_INET": 2, "AF_INET6": 10, "AF_NETLINK": 16}
LAST_FAMILY = 64
# In force by other means, or without a meaning for one start.
NEED_SYSTEMD = {"IPAddressDeny", "IPAddressAllow", "DevicePolicy", "KeyringMode", "RemoveIPC", "PrivateUsers"}


class Unit:
    """The directives of the section [Service]; a list keeps all its lines."""

    def __init__(self, path):
        self.directives = {}
        section = None
        for line in open(path):
            line = line.strip()
            if line.startswith("["):
                section = line
            elif section == "[Service]" and "=" in line and line[0] not in "#;":
                name, value = line.split("=", 1)
                self.directives.setdefault(name, []).append(value)

    def text(self, name, default=""):
        return self.directives.get(name, [default])[-1]

    def yes(self, name):
        return self.text(name) in ("yes", "true", "1")

    def words(self, name):
        return " ".join(self.directives.get(name, [])).split()


def system_call_groups():
    """The groups of names that systemd knows, each with its words, which may be groups again."""
    groups, current = {}, None
    text = subprocess.run(["systemd-analyze", "syscall-filter", "--no-pager"], capture_output=True, text=True, check=True)
    for line in text.stdout.splitlines():
        word = re.sub(r"\x1b\[[0-9;]*m", "", line).strip()
        if word.startswith("@") and not line.startswith(" "):
            current = groups.setdefault(word, [])
        elif current is not None and word and not word.startswith("#"):
            current.append(word)
    return groups


def calls_of(word, groups):
    if not word.startswith("@"):
        return {word}
    return set().union(*(calls_of(w, groups) for w in groups[word]))


def allowed_calls(unit):
    groups, allowed = system_call_groups(), set()
    for line in unit.directives.get("SystemCallFilter", []):
        named = set().union(*(calls_of(w, groups) for w in line.lstrip("~").split()))
        allowed = allowed - named if line.startswith("~") else allowed | named
    return allowed


def mount(*words):
    subprocess.run(["mount", *words], check=True)


MS_RDONLY, MS_NOSUID, MS_NODEV, MS_NOEXEC, MS_REMOUNT, MS_BIND = 1, 2, 4, 8, 32, 4096
FLAGS = {"ro": MS_RDONLY, "nosuid": MS_NOSUID, "nodev": MS_NODEV, "noexec": MS_NOEXEC}


def bind(path):
    call("mount", path.encode(), path.encode(), None, MS_BIND, None)


def remount(path, flags):
    """By the call itself: the command could not be started any more once its file system is noexec."""
    call("mount", None, path.encode(), None, MS_REMOUNT | MS_BIND | flags, None)


def flags_of_mounts():
    """What each mount has; of several in one place the last, which is the one that is seen."""
    flags = {}
    for line in open("/proc/self/mountinfo"):
        words = line.split()
        flags[words[4]] = sum(FLAGS.get(option, 0) for option in words[5].split(","))
    return flags


def restrict_what_is_seen(unit, runnable, writable):
    if LIBC.unshare(CLONE_NEWNS | CLONE_NEWUTS) != 0:
        raise OSError(ctypes.get_errno(), "unshare")
    mount("--make-rprivate", "/")
    kept = {}
    stage = tempfile.mkdtemp(prefix="kept", dir="/run")
    mount("-t", "tmpfs", "tmpfs", stage)
    for folder in {path for path in [*runnable, *writable] if os.path.isdir(path)}:
        kept[folder] = os.path.join(stage, str(len(kept)))
        os.mkdir(kept[folder])
        mount("--bind", folder, kept[folder])
    hidden = []
    if unit.yes("PrivateTmp"):
        hidden += ["/tmp", "/var/tmp"]
    if unit.yes("ProtectHome"):
        hidden += ["/home", "/root"]
    for folder in hidden:
        mount("-t", "tmpfs", "-o", "mode=" + ("1777" if "tmp" in folder else "0755"), "tmpfs", folder)
    if unit.yes("PrivateDevices"):
        hide_devices(stage)
    if unit.yes("ProtectProc") or unit.text("ProtectProc") == "invisible":
        mount("-t", "proc", "-o", "nosuid,nodev,noexec,hidepid=invisible", "proc", "/proc")
    if unit.yes("ProtectKernelModules"):
        os.path.isdir("/usr/lib/modules") and mount("-t", "tmpfs", "-o", "mode=0000", "tmpfs", "/usr/lib/modules")
    for folder, source in kept.items():
        os.makedirs(folder, exist_ok=True)
        mount("--bind", source, folder)
    own = [os.path.join(base, name) for directive, base in (
        ("StateDirectory", "/var/lib"), ("LogsDirectory", "/var/log"), ("RuntimeDirectory", "/run"))
        for name in unit.words(directive)]
    lock_mounts(unit, [*own, *writable], hidden)
    run_from(unit, runnable)


def hide_devices(stage):
    devices = ["null", "zero", "full", "random", "urandom", "tty"]
    for device in devices:
        place = os.path.join(stage, device)
        open(place, "w").close()
        mount("--bind", "/dev/" + device, place)
    mount("-t", "tmpfs", "-o", "mode=0755,nosuid,noexec", "tmpfs", "/dev")
    for device in devices:
        open("/dev/" + device, "w").close()
        mount("--bind", os.path.join(stage, device), "/dev/" + device)
    os.symlink("/proc/self/fd", "/dev/fd")
    os.mkdir("/dev/shm", 0o1777)
    mount("-t", "tmpfs", "-o", "mode=1777,noexec", "tmpfs", "/dev/shm")


def lock_mounts(unit, writable, hidden):
    """Read-only, and without programs, but for what the unit names."""
    no_programs = MS_NOEXEC if "/" in unit.words("NoExecPaths") else 0
    for folder in writable:
        if os.path.isdir(folder):
            bind(folder)
    if unit.yes("ProtectKernelTunables"):
        bind("/proc/sys")
    for point, flags in flags_of_mounts().items():
        stays = [*writable, *hidden, "/dev"] + ["/proc"] * (point != "/proc/sys")
        keep = any(point == folder or point.startswith(folder + "/") for folder in stays)
        read_only = unit.text("ProtectSystem") == "strict" and not keep
        if os.path.exists(point):  # not one that another mount covers
            remount(point, flags | no_programs | (MS_RDONLY if read_only else 0))


def run_from(unit, runnable):
    for path in [*unit.words("ExecPaths"), *runnable]:
        if os.path.exists(path):
            path = os.path.realpath(path)
            bind(path)
            remount(path, flags_of_mounts()[path] & ~MS_NOEXEC)


def drop_privileges(unit, user):
    entry = pwd.getpwnam(user)
    os.umask(int(unit.text("UMask", "0022"), 8))
    if unit.text("CapabilityBoundingSet", "all") == "":
        for capability in range(64):
            LIBC.prctl(PR_CAPBSET_DROP, capability, 0, 0, 0)
    os.setgroups([])
    os.setgid(entry.pw_gid)
    os.setuid(entry.pw_uid)
    if unit.yes("NoNewPrivileges"):
        LIBC.prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0)


def deny(rules, error=errno.EPERM):
    """A filter that denies each (call, argument...) of rules."""
    made = SyscallFilter(defaction=ALLOW)
    for call, *arguments in rules:
        try:
            made.add_rule(ERRNO(error), call, *arguments)
        except (RuntimeError, ValueError):  # not a call of this machine
            pass
    return made


def all_bits(index, bits):
    return Arg(index, MASKED_EQ, bits, bits)


def filters(unit):
    made = []
    if unit.yes("MemoryDenyWriteExecute"):
        made.append(deny([("mmap", all_bits(2, 6)), ("mprotect", all_bits(2, 4)), ("pkey_mprotect", all_bits(2, 4)),
                          ("shmat", all_bits(2, 0o100000))]))
    if unit.yes("RestrictNamespaces"):
        made.append(deny([(call, all_bits(index, flag)) for flag in NAMESPACES
                          for call, index in (("clone", 0), ("unshare", 0), ("setns", 1))]))
        made.append(deny([("clone3",)], errno.ENOSYS))
    if unit.yes("RestrictRealtime"):
        made.append(deny([("sched_setscheduler", Arg(1, EQ, policy)) for policy in (1, 2, 6)] + [("sched_setattr",)]))
    if unit.yes("RestrictSUIDSGID"):
        made.append(deny([(call, all_bits(index, bit)) for bit in (0o4000, 0o2000) for call, index in (
            ("chmod", 1), ("fchmod", 1), ("fchmodat", 2), ("mkdir", 1), ("mkdirat", 2), ("mknod", 1), ("mknodat", 2))]))
        made.append(deny([(call, all_bits(index - 1, os.O_CREAT), all_bits(index, bit)) for bit in (0o4000, 0o2000)
                          for call, index in (("open", 2), ("openat", 3))]))
    if unit.yes("LockPersonality"):
        made.append(deny([("personality", Arg(0, NE, 0))]))
    if unit.yes("ProtectHostname"):
        made.append(deny([("sethostname",), ("setdomainname",)]))
    if unit.yes("ProtectKernelLogs"):
        made.append(deny([("syslog",)]))
    families = {FAMILIES[word] for word in unit.words("RestrictAddressFamilies")}
    if families:
        made.append(deny([("socket", Arg(0, EQ, family)) for family in range(LAST_FAMILY + 1) if family not in families]
                         + [("socket", Arg(0, GT, LAST_FAMILY))], errno.EAFNOSUPPORT))
    if "SystemCallFilter" in unit.directives:
        only = SyscallFilter(defaction=ERRNO(errno.EPERM))
        for call in sorted(allowed_calls(unit)):
            try:
                only.add_rule(ALLOW, call)
            except (RuntimeError, ValueError):  # not a call of this machine
                pass
        made.append(only)
    return made


def restrict(unit, user, runnable, writable):
    made = filters(unit)  # asks systemd-analyze, which the filters would not let run
    restrict_what_is_seen(unit, runnable, writable)
    drop_privileges(unit, user)
    for one in made:
        one.load()


def refused(action, *errors):
    """Whether the action fails with one of these errors."""
    try:
        action()
    except OSError as error:
        return error.errno in errors
    return False


def call(name, *arguments):
    ctypes.set_errno(0)
    if getattr(LIBC, name)(*arguments) == -1:
        raise OSError(ctypes.get_errno(), name)


def map_memory(protection):
    LIBC.mmap.restype = ctypes.c_void_p
    LIBC.mmap.argtypes = [ctypes.c_void_p, ctypes.c_size_t] + [ctypes.c_int] * 3 + [ctypes.c_long]
    if LIBC.mmap(None, 4096, protection, 0x22, -1, 0) == ctypes.c_void_p(-1).value:
        raise OSError(ctypes.get_errno(), "mmap")


def new_file(path, mode=0o600):
    os.close(os.open(path, os.O_CREAT | os.O_WRONLY, mode))


def start(program, *arguments):
    os.posix_spawn(program, [program, *arguments], {})


def proofs(unit):
    """For each directive: what it forbids, tried."""
    pids = [int(name) for name in os.listdir("/proc") if name.isdigit()]
    allowed = allowed_names
    return {
        "ProtectSystem": refused(lambda: new_file("/usr/nbiutil-try"), errno.EROFS)
        and refused(lambda: new_file("/etc/nbiutil-try"), errno.EROFS),
        "ProtectHome": os.listdir("/home") == [] and os.listdir("/root") == [],
        "PrivateTmp": os.listdir("/tmp") == [] and not refused(lambda: new_file("/tmp/try"), errno.EACCES, errno.EROFS),
        "PrivateDevices": not {"mem", "kmsg", "fuse", "vda", "sda"} & set(os.listdir("/dev")),
        "ProtectProc": 1 not in pids,
        "ProtectHostname": refused(lambda: call("sethostname", b"x", 1), errno.EPERM),
        "ProtectClock": refused(lambda: call("clock_settime", 0, ctypes.create_string_buffer(16)), errno.EPERM),
        "ProtectControlGroups": refused(lambda: os.mkdir("/sys/fs/cgroup/try"), errno.EROFS),
        "ProtectKernelLogs": refused(lambda: call("klogctl", 3, None, 0), errno.EPERM),
        "ProtectKernelModules": refused(lambda: call("syscall", 175, None, 0, b""), errno.EPERM),
        "ProtectKernelTunables": refused(lambda: os.open("/proc/sys/kernel/domainname", os.O_WRONLY), errno.EROFS,
                                         errno.EACCES),
        "PrivateMounts": refused(lambda: call("mount", b"none", b"/tmp", b"tmpfs", 0, None), errno.EPERM),
        "NoNewPrivileges": "NoNewPrivs:\t1" in open("/proc/self/status").read(),
        "CapabilityBoundingSet": "CapBnd:\t0000000000000000" in open("/proc/self/status").read(),
        "AmbientCapabilities": "CapAmb:\t0000000000000000" in open("/proc/self/status").read(),
        "LockPersonality": refused(lambda: call("personality", 0x0040000), errno.EPERM),
        "MemoryDenyWriteExecute": refused(lambda: map_memory(7), errno.EPERM) and not refused(lambda: map_memory(3), 1),
        "RestrictNamespaces": refused(lambda: call("unshare", 0x10000000), errno.EPERM),
        "RestrictRealtime": refused(lambda: call("sched_setscheduler", 0, 1, ctypes.byref(ctypes.c_int(1))), errno.EPERM),
        "RestrictSUIDSGID": refused(lambda: new_file("/tmp/suid", 0o4755), errno.EPERM),
        "RestrictAddressFamilies": refused(lambda: call("socket", 17, 3, 0), errno.EAFNOSUPPORT),
        "SystemCallFilter": "mount" not in allowed and refused(lambda: call("acct", None), errno.EPERM),
        "NoExecPaths": refused(lambda: start("/usr/bin/id"), errno.EACCES),
        "ExecPaths": not refused(lambda: start("/usr/bin/tar", "--version"), errno.EACCES, errno.EPERM),
        "UMask": os.umask(0) == int(unit.text("UMask"), 8),
        "User": os.getuid() != 0,
    }


def prove(unit):
    null = os.open("/dev/null", os.O_WRONLY)
    out = os.dup(1)
    os.dup2(null, 1)
    held = proofs(unit)
    os.dup2(out, 1)
    for directive, holds in held.items():
        if directive in unit.directives:
            print(f"{'held' if holds else 'NOT HELD'}  {directive}={' '.join(unit.directives[directive])}")
    missing = [d for d in tried(unit) if d not in held]
    for directive in missing:
        print(f"NOT TRIED {directive}")
    return all(holds for d, holds in held.items() if d in unit.directives) and not missing


NO_RESTRICTION = re.compile(r"Type|Exec(Start|Reload)|Restart.*|Timeout.*|Watchdog.*|NotifyAccess|Group|.*Directory(Mode)?|"
                            r"SystemCall(Architectures|ErrorNumber)")


def tried(unit):
    return [d for d in unit.directives if not NO_RESTRICTION.fullmatch(d) and d not in NEED_SYSTEMD]


def list_directives(unit):
    for directive in unit.directives:
        if not NO_RESTRICTION.fullmatch(directive):
            print(f"{'systemd only' if directive in NEED_SYSTEMD else 'in force'}  {directive}")


def main(words):
    options = {"--run": [], "--write": [], "--as-user": []}
    mode = None
    while words and words[0].startswith("--"):
        option = words.pop(0)
        if option in ("--prove", "--list"):
            mode = option
        elif option in options and words:
            options[option].append(words.pop(0))
        else:
            sys.exit(__doc__)
    if not words or (mode is None and len(words) < 2):
        sys.exit(__doc__)
    unit, command = Unit(words[0]), words[1:]
    if mode == "--list":
        return list_directives(unit)
    global allowed_names
    allowed_names = allowed_calls(unit)
    user = (options["--as-user"] or [unit.text("User")])[-1]
    restrict(unit, user, options["--run"], options["--write"])
    if mode == "--prove":
        sys.exit(0 if prove(unit) else 1)
    os.execvp(command[0], command)


if __name__ == "__main__":
    main(sys.argv[1:])
