# Tests of the tablet protocol: decoding and callbacks without USB, then the
# commands and whole devices against the emulator through real libusb.
sp_add_test(NAME tablet_decode SOURCES ${CMAKE_CURRENT_LIST_DIR}/decode_reports.cpp
            LIBS tablet TIMEOUT 60)
sp_add_test(NAME tablet_callbacks SOURCES ${CMAKE_CURRENT_LIST_DIR}/callbacks_tables.cpp
            LIBS tablet TIMEOUT 60)
# Every model from one table: through libusb, the demo signature through the
# decoder, and the demo launcher with a stand-in program (demo_client).
# Under the thread checker the launcher's own runs are left out: they would
# check the emulator's libraries (umockdev, GLib), which are not instrumented.
set(every_model_env)
if(SP_SANITIZE STREQUAL "thread")
  set(every_model_env ENV "GTEST_FILTER=-DemoLauncher.*")
endif()
sp_add_test(NAME tablet_every_model SOURCES ${CMAKE_CURRENT_LIST_DIR}/every_model.cpp
            LIBS tablet emulator demo_core UMOCKDEV TIMEOUT 300 ${every_model_env})
add_executable(demo_client ${CMAKE_CURRENT_LIST_DIR}/demo_client.cpp)
target_link_libraries(demo_client PRIVATE tablet)
target_compile_definitions(tablet_every_model PRIVATE SP_DEMO_SIGNATURE="${PROJECT_SOURCE_DIR}/demo/signature.txt"
                           SP_DEMO_LAUNCHER="$<TARGET_FILE:slateprobe-demo>" SP_DEMO_CLIENT="$<TARGET_FILE:demo_client>")
add_dependencies(tablet_every_model slateprobe-demo demo_client)
sp_add_test(NAME tablet_protocol_commands SOURCES ${CMAKE_CURRENT_LIST_DIR}/protocol_commands.cpp
            LIBS tablet emulator UMOCKDEV TIMEOUT 300)
sp_add_test(NAME tablet_e2e_lifecycle SOURCES ${CMAKE_CURRENT_LIST_DIR}/e2e_lifecycle.cpp
            LIBS tablet emulator UMOCKDEV TIMEOUT 300)
