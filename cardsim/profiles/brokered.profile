# A session whose view is brokered: wake-on-LAN is not to be had, whatever the firmware's maps say.
tag.flags = 1
tag.text = brokered desk
wol.flags = 0
session = 192.0.2.90
