#pragma once

/// In a child process: makes `folder` an empty one. On Linux nobody else sees that, and it ends
/// with the process. macOS has nothing of the kind, so there the folder is emptied, and only what
/// tests/in_namespace has put aside may be named: the folder of the two configuration files. Throws
/// when it is not permitted.
void MakePrivateFolder(const char* folder);
