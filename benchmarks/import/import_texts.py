#!/usr/bin/env python3
"""What somebody writes who has an hour and knows Python: import_texts.py DATABASE BACKUP

Puts the texts of a phone's backup into a store, with their conversations.
"""

import sqlite3
import sys
from xml.etree.ElementTree import iterparse

# Folder and state of each of the backup's boxes.
BOXES = {"1": (1, 16), "2": (3, 2), "3": (4, 16), "4": (2, 1), "5": (2, 3), "6": (2, 1)}

INSERT_MESSAGE = """INSERT INTO msg_message_table (convId, msgType, itemId, storageFolder, storageId,
    networkStatus, mainText, textMessage, displayTime, attachedNum, read, simIndex, sync)
    VALUES (?, 'sms', 0, ?, 1, ?, ?, ?, ?, 0, ?, -1, 1)"""

UPDATE_CONVERSATIONS = """UPDATE msg_conversation_table AS c SET (lastMsgId, msgType, storageFolder,
    displayTime, mainText, msgText, msgCnt, unreadCnt) = (SELECT m.msgId, m.msgType, m.storageFolder,
    m.displayTime, m.mainText, m.textMessage, s.msgs, s.unread FROM summary AS s
    JOIN msg_message_table AS m ON m.msgId = s.newest WHERE s.convId = c.convId)"""


def main(path, backup):
    store = sqlite3.connect(path)
    conversations = {}

    def conversation_of(address):
        if address not in conversations:
            found = store.execute("INSERT INTO msg_conversation_table DEFAULT VALUES").lastrowid
            store.execute("INSERT INTO msg_address_table (convId, addressType, recipientType, address) "
                          "VALUES (?, 1, 1, ?)", (found, address))
            conversations[address] = found
        return conversations[address]

    for _, sms in iterparse(backup):
        if sms.tag != "sms":
            continue
        folder, state = BOXES[sms.get("type")]
        read = 0 if folder == 1 and sms.get("read") == "0" else 1
        store.execute(INSERT_MESSAGE, (conversation_of(sms.get("address")), folder, state, sms.get("body"),
                                       sms.get("body"), int(sms.get("date")), read))
        sms.clear()
    # The columns beside a max() are those of the row that has it.
    store.execute("CREATE TEMP TABLE summary AS SELECT convId, msgId AS newest, max(displayTime), count(*) AS "
                  "msgs, sum(storageFolder = 1 AND read = 0) AS unread FROM msg_message_table GROUP BY convId")
    store.execute("CREATE INDEX temp.by_conversation ON summary (convId)")
    store.execute(UPDATE_CONVERSATIONS)
    store.commit()


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2])
