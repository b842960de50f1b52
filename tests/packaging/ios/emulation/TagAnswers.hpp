#pragma once

/// Writes to descriptor 1 all that the tag engine says of the file at `path`, one fact a line, in the system dialect or
/// the standard one. With `changes` it then changes the tags, writes them, says how that went, and reads again.
extern "C" __attribute__((visibility("default"))) void quilletAnswer(const char* path, int standard, int changes);
