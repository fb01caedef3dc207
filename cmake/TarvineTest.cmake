# tarvine_add_test(NAME SOURCES file... [GUI])
# One executable per test file, registered with CTest. GUI tests run offscreen.
function(tarvine_add_test name)
    cmake_parse_arguments(ARG "GUI" "" "SOURCES" ${ARGN})
    add_executable(${name} ${ARG_SOURCES} ${PROJECT_SOURCE_DIR}/tests/common/testlogroot.cpp)
    set_target_properties(${name} PROPERTIES AUTOMOC ON AUTOUIC ON)
    target_link_libraries(${name} PRIVATE tarvine_core Qt5::Test)
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/common)
    target_compile_definitions(${name} PRIVATE
        SRCDIR="${CMAKE_CURRENT_SOURCE_DIR}/"
        SCREENSHOT_DIR="${CMAKE_BINARY_DIR}/screenshots/")
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES TIMEOUT 300)
    if(ARG_GUI)
        set_tests_properties(${name} PROPERTIES ENVIRONMENT "QT_QPA_PLATFORM=offscreen")
    endif()
endfunction()
