// Empty on purpose: see UnusedEngineLibraries.cmake.
