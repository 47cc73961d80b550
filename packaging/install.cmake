# What an installation holds, below the prefix. The program finds web, vendor and assets beside itself, by
# its own path behind the link in bin; packages add the file install-kind there.

set(MARLIN_PAGE "${CMAKE_SOURCE_DIR}/web" CACHE PATH
    "The page to install: the sources as they stand, or what packaging/bundle.mjs made of them")

set(MARLIN_HOME lib/marlin-bench)

install(TARGETS marlin-bench DESTINATION ${MARLIN_HOME})
install(DIRECTORY "${MARLIN_PAGE}/" DESTINATION ${MARLIN_HOME}/web)
install(DIRECTORY "${CMAKE_SOURCE_DIR}/vendor/" DESTINATION ${MARLIN_HOME}/vendor
    PATTERN .stamp EXCLUDE)
install(FILES "${CMAKE_SOURCE_DIR}/assets/marlin-bench.png" DESTINATION ${MARLIN_HOME}/assets)

file(MAKE_DIRECTORY "${CMAKE_BINARY_DIR}/installed")
file(CREATE_LINK ../${MARLIN_HOME}/marlin-bench "${CMAKE_BINARY_DIR}/installed/marlin-bench" SYMBOLIC)
install(FILES "${CMAKE_BINARY_DIR}/installed/marlin-bench" DESTINATION bin)

install(FILES "${CMAKE_CURRENT_LIST_DIR}/desktop/marlin-bench.desktop" DESTINATION share/applications)
install(FILES "${CMAKE_SOURCE_DIR}/assets/marlin-bench.png"
    DESTINATION share/icons/hicolor/256x256/apps)
install(FILES "${CMAKE_SOURCE_DIR}/assets/marlin-bench.svg"
    DESTINATION share/icons/hicolor/scalable/apps)

string(TIMESTAMP MARLIN_RELEASE_DATE "%Y-%m-%d" UTC)  # of SOURCE_DATE_EPOCH, where that is set
configure_file(packaging/desktop/marlin-bench.metainfo.xml.in
    "${CMAKE_BINARY_DIR}/installed/marlin-bench.metainfo.xml" @ONLY)
configure_file(packaging/man/marlin-bench.1.in "${CMAKE_BINARY_DIR}/installed/marlin-bench.1" @ONLY)
install(FILES "${CMAKE_BINARY_DIR}/installed/marlin-bench.metainfo.xml"
    DESTINATION share/metainfo RENAME example.marlin_bench.editor.metainfo.xml)
install(FILES "${CMAKE_BINARY_DIR}/installed/marlin-bench.1" DESTINATION share/man/man1)
install(FILES "${CMAKE_CURRENT_LIST_DIR}/completions/marlin-bench.bash"
    DESTINATION share/bash-completion/completions RENAME marlin-bench)
install(FILES "${CMAKE_CURRENT_LIST_DIR}/completions/_marlin-bench"
    DESTINATION share/zsh/site-functions)
install(FILES "${CMAKE_CURRENT_LIST_DIR}/completions/marlin-bench.fish"
    DESTINATION share/fish/vendor_completions.d)
