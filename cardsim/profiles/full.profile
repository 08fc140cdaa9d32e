# Firmware and client offer everything: what a card without a profile is, with a client connected.
commands = all
readable = all
writable = all
session = 192.0.2.77
