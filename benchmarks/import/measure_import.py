#!/usr/bin/env python3
"""The CPU time of two imports of the same backup, each into a new store:

measure_import.py TOOL BACKUP FOLDER REPETITIONS

Prints JSON: {"import": [{"program": ..., "times": [nanoseconds, ...]}, ...]}. Fails when the two stores differ.
"""

import json
import os
import pathlib
import shutil
import sqlite3
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent

WHAT_COUNTS = (
    "SELECT a.address, m.msgType, m.storageFolder, m.networkStatus, m.displayTime, m.mainText, m.textMessage, m.read "
    "FROM msg_message_table m JOIN msg_address_table a ON a.convId = m.convId "
    "ORDER BY m.displayTime, a.address, m.textMessage",
    "SELECT a.address, a.addressType, c.msgCnt, c.unreadCnt, c.msgType, c.storageFolder, c.displayTime, c.mainText, "
    "c.msgText FROM msg_conversation_table c JOIN msg_address_table a ON a.convId = c.convId ORDER BY a.address",
)


def cpu_time(command, environment):
    """Nanoseconds of user and system time that the process takes."""
    process = subprocess.Popen(command, env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit(f"{command} fails")
    return int((usage.ru_utime + usage.ru_stime) * 1e9)


def main(tool, backup, folder, repetitions):
    times = {"msg-tarvel import": [], "Python": []}
    contents = {}
    for _ in range(int(repetitions)):
        for program in times:
            place = pathlib.Path(folder) / program.split()[0]
            shutil.rmtree(place, ignore_errors=True)
            place.mkdir(parents=True)
            environment = dict(os.environ, MSG_TARVEL_DATA_DIR=f"{place}/")
            subprocess.run([tool, "create"], env=environment, check=True, stdout=subprocess.DEVNULL,
                           stderr=subprocess.DEVNULL)
            database = next(place.glob("dbspace/.*.db"))
            commands = {"msg-tarvel import": [tool, "import", backup],
                        "Python": [sys.executable, HERE / "import_texts.py", database, backup]}
            times[program].append(cpu_time(commands[program], environment))
            with sqlite3.connect(database) as store:
                contents[program] = [store.execute(question).fetchall() for question in WHAT_COUNTS]
            if len(contents) == 2 and contents["Python"] != contents["msg-tarvel import"]:
                sys.exit("the two imports do not store the same")
    json.dump({"import": [{"program": program, "times": values} for program, values in times.items()]}, sys.stdout)


if __name__ == "__main__":
    main(*sys.argv[1:])
