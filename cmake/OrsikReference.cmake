# The reference that scripts/make_reference writes, when it was written: pages of section 3, and HTML beside the other
# documents.
set(reference ${PROJECT_SOURCE_DIR}/build/reference)
install(DIRECTORY ${reference}/man/man3 DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT reference OPTIONAL)
install(DIRECTORY ${reference}/html DESTINATION doc/reference COMPONENT reference OPTIONAL)
