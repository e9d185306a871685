// Empty on purpose: see EngineSubstitutes.cmake.
