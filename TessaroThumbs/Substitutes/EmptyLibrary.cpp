// Empty on purpose: see CMakeLists.txt.
