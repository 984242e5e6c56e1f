# Decoding cost per layout and the reader path end to end (run the binary
# under umockdev-wrapper for the latter).
sp_add_bench(NAME tablet_decode_bench SOURCES ${CMAKE_CURRENT_LIST_DIR}/decode_bench.cpp LIBS tablet emulator)
