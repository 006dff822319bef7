"""Debian's Slurm on this machine alone: a controller, and as many nodes as are asked for, each a
slurmd of its own."""
import contextlib
import os
import pathlib
import signal
import socket
import subprocess
import time

from receiver import Fault, remaining, within

PATIENCE_S = 60
RETRY_S = 0.1
COMMAND_S = 30
NODE_TIMEOUT_S = 6  # so long a node may be silent before its jobs are begun anew elsewhere
CREDENTIAL_S = 5  # a job is begun anew only when what its last run was let in with has expired
FIRST_PORT, LAST_PORT = 20000, 32000  # below those that systems give to connections


def free_ports(count):
    """So many that nobody listens at, one after the other or not."""
    ports = []
    with contextlib.ExitStack() as held:
        for port in range(FIRST_PORT + os.getpid() % 5000, LAST_PORT):
            if len(ports) == count:
                return ports
            with contextlib.suppress(OSError):
                held.enter_context(socket.create_server(("127.0.0.1", port)))
                ports.append(port)
    raise Fault(f"fewer than {count} ports are free")


def processes_with(variable):
    """The numbers of the processes whose environment has it, as NAME=VALUE."""
    numbers = set()
    for entry in pathlib.Path("/proc").glob("[0-9]*"):
        with contextlib.suppress(OSError):
            if variable.encode() in (entry / "environ").read_bytes().split(b"\0"):
                numbers.add(int(entry.name))
    return numbers


def steps_of(jobs):
    """The numbers of the processes with which Slurm watches over the scripts of these jobs."""
    names = [f"slurmstepd: [{job}.".encode() for job in jobs]
    numbers = set()
    for entry in pathlib.Path("/proc").glob("[0-9]*"):
        with contextlib.suppress(OSError):
            command = (entry / "cmdline").read_bytes()
            if any(command.startswith(name) for name in names):
                numbers.add(int(entry.name))
    return numbers


class Slurm:
    """From construction to close(). `environment` is that of its commands and jobs."""

    def __init__(self, processes, folder, nodes, environment):
        self._processes, self._folder = processes, folder
        self.nodes = [f"node{number}" for number in range(1, nodes + 1)]
        self._configuration = folder / "slurm.conf"
        self._socket = folder / "munge" / "socket"
        self.environment = {**os.environ, **environment,
                            "SLURM_CONF": str(self._configuration)}
        self._daemons = {}
        self._start_munge()
        self._write_configuration()
        self._start("slurmctld", ["slurmctld", "-D", "-c", "-f", self._configuration])
        for node in self.nodes:
            self._start(node, ["slurmd", "-D", "-c", "-N", node, "-f", self._configuration])
        self._wait_for_nodes()

    def _start(self, name, command):
        log = (self._folder / f"{name}.err").open("wb")
        with log:
            self._daemons[name] = self._processes.start(
                ["env", f"SLURM_CONF={self._configuration}", *command],
                stdout=subprocess.DEVNULL, stderr=log)

    def _start_munge(self):
        folder = self._folder / "munge"
        folder.mkdir(mode=0o755)
        key = folder / "key"
        key.write_bytes(os.urandom(1024))
        key.chmod(0o600)
        self._start("munged", ["munged", "--foreground", f"--key-file={key}",
                               f"--socket={self._socket}", f"--pid-file={folder / 'pid'}",
                               f"--log-file={folder / 'log'}", f"--seed-file={folder / 'seed'}"])
        deadline = within(PATIENCE_S)
        while subprocess.run(["munge", "-n", f"--socket={self._socket}"], check=False,
                             capture_output=True, timeout=COMMAND_S).returncode:
            remaining(deadline, "munged")
            time.sleep(RETRY_S)

    def _write_configuration(self):
        for name in ("state", "spool"):
            (self._folder / name).mkdir()
        host = socket.gethostname()
        user = "root" if os.geteuid() == 0 else os.environ["USER"]
        controller, *ports = free_ports(1 + len(self.nodes))
        nodes = "".join(
            f"NodeName={node} NodeHostname={host} NodeAddr=127.0.0.1 Port={port} CPUs=4"
            " RealMemory=4096\n" for node, port in zip(self.nodes, ports))
        self._configuration.write_text(
            f"ClusterName=proof\nSlurmctldHost={host}(127.0.0.1)\nSlurmctldPort={controller}\n"
            f"SlurmUser={user}\nSlurmdUser={user}\n"
            f"AuthType=auth/munge\nAuthInfo=socket={self._socket},cred_expire={CREDENTIAL_S}\n"
            f"StateSaveLocation={self._folder}/state\nSlurmdSpoolDir={self._folder}/spool/%n\n"
            f"SlurmctldPidFile={self._folder}/slurmctld.pid\n"
            f"SlurmdPidFile={self._folder}/%n.pid\nSlurmctldLogFile={self._folder}/slurmctld.log\n"
            f"SlurmdLogFile={self._folder}/%n.log\nSlurmdParameters=config_overrides\n"
            "ProctrackType=proctrack/linuxproc\nTaskPlugin=task/none\nMpiDefault=none\n"
            "SelectType=select/cons_tres\nSelectTypeParameters=CR_Core_Memory\n"
            "SchedulerType=sched/builtin\nSchedulerParameters=sched_interval=1\n"
            f"SlurmdTimeout={NODE_TIMEOUT_S}\nTreeWidth=65533\nReturnToService=2\n"
            f"MinJobAge=3600\n{nodes}"
            "PartitionName=all Nodes=ALL Default=YES MaxTime=INFINITE State=UP\n")

    def run(self, *command):
        """What a command of Slurm's says; a Fault when it fails."""
        done = subprocess.run([str(part) for part in command], env=self.environment, text=True,
                              capture_output=True, timeout=COMMAND_S, stdin=subprocess.DEVNULL)
        if done.returncode:
            raise Fault(f"{' '.join(map(str, command))} ended with {done.returncode}: "
                        f"{done.stderr.strip()}")
        return done.stdout

    def _wait_for_nodes(self):
        deadline = within(PATIENCE_S)
        while True:
            with contextlib.suppress(Fault):
                states = self.run("sinfo", "--noheader", "--Node", "--format=%T").split()
                if states == ["idle"] * len(self.nodes):
                    return
            remaining(deadline, "Slurm with all of its nodes")
            time.sleep(RETRY_S)

    def jobs(self):
        """All that it was ever given: what it says of each, by the job's name."""
        jobs = {}
        for line in self.run("scontrol", "--oneliner", "show", "jobs").splitlines():
            fields = dict(field.split("=", 1) for field in line.split() if "=" in field)
            if "JobName" in fields:
                jobs.setdefault(fields["JobName"], []).append(fields)
        return jobs

    def kill(self, node):
        """The node and all that it has begun, as when its machine loses power."""
        jobs = self.run("squeue", "--noheader", f"--nodelist={node}", "--states=running",
                        "--format=%A").split()
        doomed = ({self._daemons[node].pid} | steps_of(jobs) |
                  processes_with(f"SLURMD_NODENAME={node}"))
        for number in doomed:
            with contextlib.suppress(ProcessLookupError):
                os.kill(number, signal.SIGKILL)
        return len(doomed)

    def close(self):
        for process in self._daemons.values():
            process.kill()
            process.wait()
