#!/usr/bin/python3
"""Renders a WAV file of 16 bits through a plug-in: render.py LIBRARY PLUGIN-HOST PLUGIN IN.wav OUT.wav

    render.py build-x86_64/library/libplugin-host-client.so.0 build-x86_64/plugin-host Echo.so in.wav out.wav
"""
import array
import ctypes
import sys
import wave
from ctypes import POINTER, Structure, byref, c_char_p, c_float, c_int32, c_size_t, c_uint32, c_void_p, sizeof


class SessionOptions(Structure):  # the beginning of it: the library takes the rest as zeros
    _fields_ = [("size", c_size_t), *((name, c_char_p) for name in
                ("program_32", "program_64", "library_path", "extensions", "cache_directory")),
                ("sample_rate", c_int32), ("block_size", c_int32)]


class PluginOptions(Structure):
    _fields_ = [("size", c_size_t), ("path", c_char_p)]


class Input(Structure):
    _fields_ = [("size", c_size_t), ("channels", POINTER(POINTER(c_float))), ("channel_count", c_size_t)]


class Output(Structure):
    _fields_ = [("size", c_size_t), ("tail", c_int32), ("channels", POINTER(POINTER(c_float))),
                ("channel_count", c_size_t), ("event_count", c_size_t)]


library_path, program, plugin_path, source, target = sys.argv[1:]
library = ctypes.CDLL(library_path)
library.plugin_host_error.restype = c_char_p
library.plugin_host_status_text.restype = c_char_p


def call(name, *arguments):
    status = getattr(library, "plugin_host_" + name)(*arguments)
    if status != 0:
        sys.exit(f"render.py: {(library.plugin_host_error() or library.plugin_host_status_text(status)).decode()}")


with wave.open(source) as file:
    width, channels, rate = file.getsampwidth(), file.getnchannels(), file.getframerate()
    samples = array.array("h", file.readframes(file.getnframes()))
if width != 2 or not samples:
    sys.exit(f"render.py: {source} has no samples of 16 bits")

FRAMES = 256
program = program.encode()
session, plugin = c_void_p(), c_void_p()
options = SessionOptions(sizeof(SessionOptions), program, program, None, None, None, rate, FRAMES)
call("session_create", byref(options), byref(session))
call("plugin_create", session, byref(PluginOptions(sizeof(PluginOptions), plugin_path.encode())), byref(plugin))
call("plugin_start", plugin)
inputs, outputs = Input(sizeof(Input)), Output(sizeof(Output))
rendered = array.array("h")
for start in range(0, len(samples), FRAMES * channels):
    call("plugin_begin", plugin, byref(inputs))
    block = samples[start:start + FRAMES * channels]
    for channel in range(inputs.channel_count):
        part = array.array("f", (sample / 32768 for sample in block[min(channel, channels - 1)::channels]))
        part.extend([0.0] * (FRAMES - len(part)))
        ctypes.memmove(inputs.channels[channel], part.buffer_info()[0], FRAMES * part.itemsize)
    call("plugin_process", plugin, c_uint32(FRAMES), c_uint32(0), byref(outputs))
    count = outputs.channel_count
    for frame in range(len(block) // channels):
        rendered.extend(round(32767 * max(-1.0, min(outputs.channels[channel][frame], 1.0))) for channel in range(count))
call("session_destroy", session)  # and the plug-in and its host with it

with wave.open(target, "wb") as file:
    file.setnchannels(count)
    file.setsampwidth(2)
    file.setframerate(rate)
    file.writeframes(rendered)
