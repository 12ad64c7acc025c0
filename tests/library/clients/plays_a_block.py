"""A client in Python: describes a plug-in, and plays one block.

The arguments are the library, the host's program and the plug-in.
"""

import ctypes
import sys
from ctypes import POINTER, Structure, byref, c_char_p, c_float, c_int32, c_size_t, c_uint32, c_void_p, sizeof

library = ctypes.CDLL(sys.argv[1])
library.plugin_host_error.restype = c_char_p


class SessionOptions(Structure):
    _fields_ = [("size", c_size_t), ("program_32", c_char_p), ("program_64", c_char_p), ("library_path", c_char_p),
                ("extensions", c_char_p), ("cache_directory", c_char_p)]


class PluginOptions(Structure):
    _fields_ = [("size", c_size_t), ("path", c_char_p)]


class Description(Structure):
    _fields_ = [("size", c_size_t), ("name", c_char_p), ("vendor", c_char_p), ("version", c_char_p),
                ("category", c_char_p), ("identifier", c_char_p), ("path", c_char_p), ("format", c_int32),
                ("flags", c_uint32), ("input_channel_count", c_size_t), ("output_channel_count", c_size_t),
                ("latency", c_int32), ("input_buses", c_void_p), ("input_bus_count", c_size_t),
                ("output_buses", c_void_p), ("output_bus_count", c_size_t), ("parameters", c_void_p),
                ("parameter_count", c_size_t)]


class Input(Structure):
    _fields_ = [("size", c_size_t), ("channels", POINTER(POINTER(c_float))), ("channel_count", c_size_t)]


class Output(Structure):
    _fields_ = [("size", c_size_t), ("tail", c_int32), ("channels", POINTER(POINTER(c_float))),
                ("channel_count", c_size_t)]


def call(name, *arguments):
    if getattr(library, name)(*arguments) != 0:
        sys.exit(f"{name}: {library.plugin_host_error().decode()}")


def new(structure, **fields):
    return structure(size=sizeof(structure), **fields)


program = sys.argv[2].encode()
session = c_void_p()
plugin = c_void_p()
description = POINTER(Description)()
call("plugin_host_session_create",
     byref(new(SessionOptions, program_32=program, program_64=program, cache_directory=b"")), byref(session))
call("plugin_host_plugin_create", session, byref(new(PluginOptions, path=sys.argv[3].encode())), byref(plugin))
call("plugin_host_plugin_describe", plugin, byref(description))
given = description.contents
print(f"{given.name.decode()}, {given.input_channel_count} inputs, {given.output_channel_count} outputs, "
      f"{given.parameter_count} parameters")
library.plugin_host_description_free(description)
call("plugin_host_plugin_start", plugin)
inputs = new(Input)
call("plugin_host_plugin_begin", plugin, byref(inputs))
inputs.channels[0][0] = 1
output = new(Output)
call("plugin_host_plugin_process", plugin, c_uint32(256), c_uint32(0), byref(output))
print(f"{output.channels[0][0]:.1f}")
call("plugin_host_plugin_stop", plugin)
call("plugin_host_plugin_destroy", plugin)
call("plugin_host_session_destroy", session)
