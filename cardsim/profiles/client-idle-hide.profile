# A client with idle-hide in force, for which is_client_sc answers 0: small cursors, local tablets.
context.cur_shape_fadeout_supported = 1
context.cur_shape_fadeout_enable = 1
context.cur_shape_caches = 8
context.cur_shape_max_size_x = 32
context.cur_shape_max_size_y = 32
context.hoip_supported = 1
context.hoip_enable = 1
driver.idle_hide = 30
session = 192.0.2.82
