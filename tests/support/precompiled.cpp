// Owns the precompiled headers; see ../CMakeLists.txt.
