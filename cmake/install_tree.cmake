# What is installed beside the programs: the tree of doc/formats.md.
install(DIRECTORY etc/ DESTINATION etc)
install(DIRECTORY provider/ DESTINATION provider USE_SOURCE_PERMISSIONS
        PATTERN src EXCLUDE)
install(DIRECTORY share/zelkara/ DESTINATION share/zelkara)
install(DIRECTORY doc/man/ DESTINATION share/man/man1
        FILES_MATCHING PATTERN "*.1")
install(DIRECTORY doc/man/ DESTINATION share/man/man5
        FILES_MATCHING PATTERN "*.5")
