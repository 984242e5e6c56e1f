# Fuzz target of the report decoding of every model (pad and display paths).
sp_add_fuzzer(NAME fuzz_decode SOURCES ${CMAKE_CURRENT_LIST_DIR}/fuzz_decode.cpp LIBS tablet
              CORPUS ${CMAKE_CURRENT_LIST_DIR}/fuzz_decode_corpus)
