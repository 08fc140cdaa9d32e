"""What the scenarios' programs use the nodes with: system calls as they are, without what Python makes of them."""
import ctypes
import errno

libc = ctypes.CDLL(None, use_errno=True)


def result_of(call, *arguments):
    """What the call returned, or the name of its errno."""
    result = call(*arguments)
    return result if result >= 0 else errno.errorcode[ctypes.get_errno()]


def request(node, code, record=None):
    """Issues the request with a bytearray, which takes the reply, with a bare address, or with none."""
    if isinstance(record, bytearray):
        record = (ctypes.c_char * len(record)).from_buffer(record)
    elif record is not None:
        record = ctypes.c_void_p(record)
    return result_of(libc.ioctl, node, ctypes.c_ulong(code), record)


def shape(width, height, length=None):
    """The record of a cursor's shape with an alpha channel, no byte of its bitmap zero, or its beginning where it states
    another length."""
    bitmap = bytes(i % 255 + 1 for i in range(width * height * 4))
    head = bytes((3, 0, 10, 0, 0, 0, 0, 0, 0, 0, 1, 2, width, height, 0, 0))
    return bytearray(head + (length or 20 + len(bitmap)).to_bytes(4, "little") + bitmap)
