# Tests of the tablet protocol: decoding and callbacks without USB, then the
# commands and whole devices against the emulator through real libusb.
sp_add_test(NAME tablet_decode SOURCES ${CMAKE_CURRENT_LIST_DIR}/decode_reports.cpp
            LIBS tablet TIMEOUT 60)
sp_add_test(NAME tablet_callbacks SOURCES ${CMAKE_CURRENT_LIST_DIR}/callbacks_tables.cpp
            LIBS tablet TIMEOUT 60)
sp_add_test(NAME tablet_e2e_models SOURCES ${CMAKE_CURRENT_LIST_DIR}/e2e_models.cpp
            LIBS tablet emulator UMOCKDEV TIMEOUT 300)
sp_add_test(NAME tablet_protocol_commands SOURCES ${CMAKE_CURRENT_LIST_DIR}/protocol_commands.cpp
            LIBS tablet emulator UMOCKDEV TIMEOUT 300)
sp_add_test(NAME tablet_e2e_lifecycle SOURCES ${CMAKE_CURRENT_LIST_DIR}/e2e_lifecycle.cpp
            LIBS tablet emulator UMOCKDEV TIMEOUT 300)
