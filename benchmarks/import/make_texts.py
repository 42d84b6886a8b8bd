#!/usr/bin/env python3
"""Writes a phone's backup of texts, always the same: make_texts.py COUNT >backup.xml"""

import random
import sys
from xml.sax.saxutils import quoteattr

PEOPLE = 600
WORDS = ["and", "the", "are you", "train", "at seven", "café", "thanks", "tomorrow", "좋아요", "R&D",
         "home", "late", "on my way", "where", "with the children"]
RECEIVED, SENT = "1", "2"


def main():
    chance = random.Random(20250303)
    numbers = [f"+1415555{10000 + person}" for person in range(PEOPLE)]
    weights = [(rank + 1) ** -0.7 for rank in range(PEOPLE)]
    count = int(sys.argv[1])
    print("<?xml version='1.0' encoding='UTF-8' standalone='yes' ?>")
    print(f'<smses count="{count}">')
    date = 1646000000000
    for number in chance.choices(numbers, weights, k=count):
        date += chance.randrange(1, 2000000)
        body = " ".join(chance.choices(WORDS, k=chance.randrange(3, 17)))
        box = chance.choice([RECEIVED, SENT])
        read = "0" if box == RECEIVED and chance.random() < 0.05 else "1"
        print(f'  <sms protocol="0" address="{number}" date="{date}" type="{box}" subject="null" '
              f'body={quoteattr(body)} toa="null" sc_toa="null" service_center="null" read="{read}" '
              f'status="-1" locked="0" date_sent="{date - 1200}" contact_name="(Unknown)" />')
    print("</smses>")


if __name__ == "__main__":
    main()
