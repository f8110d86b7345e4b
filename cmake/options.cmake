# The flags of all targets of this project. Generated code (moc, the adaptor's header) is compiled
# with the same flags. Only the presets turn warnings into errors, because another compiler may have
# new warnings.
add_library(project_options INTERFACE)
target_compile_options(project_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion
    $<$<CONFIG:Debug>:-O0>)
target_compile_definitions(project_options INTERFACE
    QT_DEPRECATED_WARNINGS QT_NO_CAST_FROM_BYTEARRAY QT_NO_URL_CAST_FROM_STRING)

# The reports of sanitizers need only line numbers. -g1 adds nothing else, so it compiles faster.
if(HALVEX_SANITIZE)
    target_compile_options(project_options INTERFACE
        -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer -g1)
    target_link_options(project_options INTERFACE -fsanitize=address,undefined)
endif()
if(HALVEX_FUZZ)
    target_compile_options(project_options INTERFACE
        -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all -g1)
    target_link_options(project_options INTERFACE -fsanitize=address,undefined)
endif()
if(HALVEX_COVERAGE)
    target_compile_options(project_options INTERFACE --coverage -fprofile-abs-path)
    target_link_options(project_options INTERFACE --coverage)
endif()
