#!/usr/bin/env python3
"""Writes backup.xml, a phone's backup made up for this project: samples/make_backup.py > samples/backup.xml

Every run writes the same bytes. People, numbers (555-01xx) and texts are fictitious.
"""

import base64
import math
import random
import struct
import sys
import zlib
from datetime import datetime, timedelta, timezone
from xml.sax.saxutils import quoteattr

OWNER = "+14155550100"
START = datetime(2025, 3, 3, 7, 30, tzinfo=timezone.utc)
DAYS = 365
RECEIVED, SENT, DRAFT, OUTBOX, FAILED, QUEUED = 1, 2, 3, 4, 5, 6

# One person's number as phones write it from message to message.
ADA = ["+14155550111", "4155550111", "(415) 555-0111", "415-555-0111"]
BEN = ["+14155550122", "4155550122", "415.555.0122"]
MINJI = ["+14155550133", "4155550133"]
LAYLA = ["+14155550144", "(415) 555-0144"]
THEO = ["+14155550155"]
NORA = ["4155550166", "+14155550166"]
BANK, PARCELS, MAIL = "262966", "Parcels", "nora.quill@example.org"

LATIN = [
    "Are you coming?", "On my way, ten minutes.", "Did the parcel arrive?", "Yes, it's on the table.",
    "Dinner at seven?", "Let's say half past.", "I'll bring the café chairs back tomorrow.",
    "Thanks a lot!", "Can you call me when you're home?", "The meeting moved to Thursday & Friday.",
    "Naïve question: which platform?", "Platform 3, as always.", "See you <there>.",
    "First line\nsecond line\nthird line", "Übermorgen passt mir gut.", "¿A qué hora?",
]
KOREAN = ["지금 어디예요?", "곧 도착해요.", "저녁 같이 먹을래요?", "네, 좋아요!", "내일 봐요.",
          "사진 고마워요.", "회의가 세 시로 바뀌었어요."]
ARABIC = ["أين أنت الآن؟", "أنا في الطريق.", "شكرا جزيلا!", "نلتقي غدا إن شاء الله.", "هل وصل الطرد؟"]
EMOJI = ["😂😂", "Great 🎉", "👍🏽", "On the train 🚆 now", "❤️", "좋아요 😊", "👨‍👩‍👧 home", "شكرا 🌹"]


def reference_pairs(text):
    """Characters outside the basic plane as references of their surrogates, as phones write them."""
    out = []
    for character in text:
        code = ord(character)
        if code < 0x10000:
            out.append(character)
        else:
            code -= 0x10000
            out.append(f"&#{0xD800 + (code >> 10)};&#{0xDC00 + (code & 0x3FF)};")
    return "".join(out)


def attribute(text, emoji_as_pairs):
    if text is None:
        return '"null"'
    quoted = quoteattr(text, {"\n": "&#10;"})
    if quoted[0] == "'":
        quoted = '"' + quoted[1:-1].replace('"', "&quot;") + '"'
    return reference_pairs(quoted) if emoji_as_pairs else quoted


def element(name, attributes, children="", emoji_as_pairs=True, indent="  "):
    inside = " ".join(f"{key}={attribute(value, emoji_as_pairs)}" for key, value in attributes.items())
    if not children:
        return f"{indent}<{name} {inside} />\n"
    return f"{indent}<{name} {inside}>\n{children}{indent}</{name}>\n"


def png(width, height, colour):
    def chunk(kind, data):
        body = kind + data
        return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body))
    rows = b"".join(
        b"\0" + b"".join(bytes(((c + 5 * x + 3 * y) % 256) for c in colour) for x in range(width))
        for y in range(height))
    header = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(rows, 9)) +
            chunk(b"IEND", b""))


def gif(width, height, bits):
    """Two colours, every pixel a code of its own: valid, if not small."""
    out = b"GIF89a" + struct.pack("<HHBBB", width, height, 0x80, 0, 0) + b"\xff\xff\xff\x20\x60\xc0"
    out += b"," + struct.pack("<HHHHB", 0, 0, width, height, 0) + b"\x02"
    codes = []
    for index in range(width * height):
        if index % 2 == 0:
            codes.append(4)  # start anew, so that codes stay three bits wide
        codes.append(bits >> (index % 16) & 1)
    codes.append(5)
    value = sum(code << (3 * place) for place, code in enumerate(codes))
    data = value.to_bytes((3 * len(codes) + 7) // 8, "little")
    blocks = b"".join(bytes([len(data[i:i + 255])]) + data[i:i + 255] for i in range(0, len(data), 255))
    return out + blocks + b"\0;"


def wav(seconds, pitch):
    rate = 4000
    samples = bytes(int(128 + 80 * math.sin(2 * math.pi * pitch * i / rate)) for i in range(int(rate * seconds)))
    header = struct.pack("<4sIHHIIHH", b"fmt ", 16, 1, 1, rate, rate, 1, 8)
    data = struct.pack("<4sI", b"data", len(samples)) + samples
    return b"RIFF" + struct.pack("<I", 4 + len(header) + len(data)) + b"WAVE" + header + data


class Backup:
    def __init__(self):
        self.random = random.Random(20250303)
        self.messages = []
        self.count = 0

    def when(self, share):
        jitter = self.random.uniform(0, 0.9)
        return START + timedelta(days=DAYS * share, hours=14 * jitter)

    def text(self, kinds):
        return self.random.choice(self.random.choice(kinds))

    def add(self, when, xml):
        self.messages.append((when, self.count, xml))
        self.count += 1

    def sms(self, when, address, box, body, read=1):
        milliseconds = int(when.timestamp() * 1000)
        self.add(when, element("sms", {
            "protocol": "0", "address": address, "date": str(milliseconds), "type": str(box),
            "subject": None, "body": body, "toa": None, "sc_toa": None, "service_center": None,
            "read": str(read), "status": "-1", "locked": "0",
            "date_sent": "0" if box != RECEIVED else str(milliseconds - 1200),
            "sub_id": "1", "readable_date": when.strftime("%b %d, %Y %H:%M:%S"), "contact_name": "(Unknown)",
        }, emoji_as_pairs=self.count % 3 != 0))

    def mms(self, when, members, box, parts, sender=None, subject=None, read=1, with_owner=True):
        milliseconds = int(when.timestamp()) * 1000
        listed = members + [OWNER] if with_owner and len(members) > 1 else members
        sender = sender or (members[0] if box == RECEIVED else None)
        addrs = element("addr", {"address": sender or "insert-address-token", "type": "137",
                                 "charset": "106"}, indent="      ")
        recipients = [one for one in members if one != sender] + ([OWNER] if box == RECEIVED else [])
        for one in recipients:
            addrs += element("addr", {"address": one, "type": "151", "charset": "106"}, indent="      ")
        inner = "    <parts>\n" + "".join(parts) + "    </parts>\n    <addrs>\n" + addrs + "    </addrs>\n"
        self.add(when, element("mms", {
            "date": str(milliseconds), "rr": "129", "sub": subject, "ct_t": "application/vnd.wap.multipart.related",
            "read_status": None, "seen": "1", "msg_box": str(box), "address": "~".join(listed),
            "sub_cs": "106", "m_id": None, "read": str(read), "m_size": None,
            "m_type": "132" if box == RECEIVED else "128", "date_sent": "0",
            "readable_date": when.strftime("%b %d, %Y %H:%M:%S"), "contact_name": "(Unknown)",
        }, inner))

    def part(self, seq, kind, name=None, text=None, data=None):
        attributes = {"seq": str(seq), "ct": kind, "name": name, "chset": "106" if text else None, "cd": None,
                      "fn": None, "cid": f"<{name}>" if name else None, "cl": name, "ctt_s": None, "ctt_t": None,
                      "text": text}
        if data is not None:
            attributes["data"] = base64.b64encode(data).decode()
        return element("part", attributes, indent="      ")

    def slides(self, *parts):
        smil = "<smil><head><layout><root-layout/></layout></head><body><par dur=\"5000ms\"/></body></smil>"
        return [self.part(-1, "application/smil", "smil.xml", text=smil), *parts]

    def chat(self, forms, messages, kinds, unread=0):
        """A conversation between two, over the year; the last `unread` received ones are not read."""
        plan = [RECEIVED if self.random.random() < 0.55 else SENT for _ in range(messages)]
        plan[-unread - 1:] = [SENT] + [RECEIVED] * unread
        for index, box in enumerate(plan):
            is_unread = index >= messages - unread
            self.sms(self.when((index + 0.5) / messages), self.random.choice(forms), box, self.text(kinds),
                     0 if is_unread else 1)


def make():
    b = Backup()
    b.chat(ADA, 84, [LATIN, EMOJI], unread=14)
    b.chat(BEN, 52, [LATIN], unread=9)
    b.chat(MINJI, 46, [KOREAN, EMOJI])
    b.chat(LAYLA, 34, [ARABIC, EMOJI], unread=2)
    b.chat(THEO, 20, [LATIN, EMOJI])
    b.chat(NORA, 14, [LATIN])
    for month in range(12):
        b.sms(b.when((month + 0.4) / 12), BANK, RECEIVED, f"Your balance on the 1st is ${1200 + 37 * month}.50", 1)
    for visit in range(7):
        b.sms(b.when((visit + 0.6) / 7), PARCELS, RECEIVED, f"Parcel {8130 + visit} is at your door.", 1)

    b.sms(b.when(0.50), ADA[0], FAILED, "This one never left.")
    b.sms(b.when(0.985), BEN[0], FAILED, "Still no signal here.")
    b.sms(b.when(0.99), THEO[0], OUTBOX, "Leaving now 🚲")
    b.sms(b.when(0.992), MINJI[1], QUEUED, "잠시만요")
    b.sms(b.when(0.40), LAYLA[0], DRAFT, "I wanted to say")

    pair = [ADA[0], BEN[0]]
    trio = [ADA[1], MINJI[0], LAYLA[0]]
    family = [THEO[0], NORA[0]]
    for index in range(11):
        sender = b.random.choice(pair)
        b.mms(b.when((index + 0.3) / 11), pair, RECEIVED, b.slides(b.part(0, "text/plain", "text.txt", b.text([LATIN, EMOJI]))),
              sender=sender)
    for index in range(9):
        box = SENT if index % 3 == 0 else RECEIVED
        b.mms(b.when((index + 0.7) / 9), trio, box, b.slides(b.part(0, "text/plain", "text.txt", b.text([KOREAN, ARABIC, EMOJI]))),
              sender=None if box == SENT else trio[index % 3], with_owner=index % 2 == 0)
    for index in range(6):
        picture = png(24 + 4 * index, 16 + 2 * index, (200 - 20 * index, 90, 40 + 30 * index))
        b.mms(b.when((index + 0.2) / 6), family, RECEIVED, b.slides(
            b.part(0, "image/png", f"picture{index}.png", data=picture),
            b.part(0, "text/plain", "text.txt", "From the garden 🌻")), sender=family[index % 2], subject="Garden")

    b.mms(b.when(0.21), [ADA[0]], RECEIVED, b.slides(b.part(0, "image/gif", "smile.gif", data=gif(16, 16, 0x5A3C))))
    b.mms(b.when(0.33), [MINJI[0]], SENT, b.slides(b.part(0, "image/png", "map.png", data=png(40, 30, (30, 140, 90))),
                                                    b.part(1, "text/plain", "text.txt", "여기예요 📍")))
    b.mms(b.when(0.45), [THEO[0]], RECEIVED, b.slides(b.part(0, "audio/x-wav", "hello.wav", data=wav(0.5, 440))))
    b.mms(b.when(0.52), [MAIL], RECEIVED, [b.part(0, "text/plain", "text.txt", "Sent from my desk.")])
    b.mms(b.when(0.71), [MAIL], SENT, [b.part(0, "text/plain", "text.txt", "Got it, thank you.")])
    b.mms(b.when(0.83), [NORA[1]], FAILED, b.slides(b.part(0, "image/gif", "dots.gif", data=gif(12, 12, 0x0F0F))))
    return [xml for _, _, xml in sorted(b.messages)]


def main():
    messages = make()
    out = sys.stdout
    out.reconfigure(encoding="utf-8", newline="\n")
    out.write("<?xml version='1.0' encoding='UTF-8' standalone='yes' ?>\n")
    out.write('<?xml-stylesheet type="text/xsl" href="sms.xsl"?>\n')
    # As in life, the count is what the program meant to write.
    out.write(f'<smses count="{len(messages) + 6}" backup_set="3f0f7c2e-0000-4000-8000-5550100" type="full">\n')
    for message in messages:
        out.write(message)
    out.write("</smses>\n")


if __name__ == "__main__":
    main()
