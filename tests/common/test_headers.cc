// Carries the headers that tests share; see tests/CMakeLists.txt.
