# A client without idle-hide, for which is_client_sc answers 1: two displays, large cursors, no tablets.
context.cur_shape_fadeout_supported = 0
context.cur_shape_fadeout_enable = 0
context.cur_shape_caches = 32
context.cur_shape_cache_size = 65536
context.cur_shape_max_size_x = 128
context.cur_shape_max_size_y = 128
context.hoip_supported = 0
context.hoip_enable = 0
display.0 = 2560x1440+0+0
display.1 = 1920x1080+2560+180
async_display.0 = 2560x1440+0+0
async_display.1 = 1920x1080+2560+180
session = 192.0.2.81
