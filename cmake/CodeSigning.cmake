# Code signing of the project's own programs on Linux, with an emulated Apple
# PKI made afresh in the build tree (nothing of it is committed): the helper
# accepts only clients signed by its maker, so the client, the tests, the
# fuzzers and the benchmarks are signed as the client application would be.
set(MACHELPER_PKI_DIR ${PROJECT_BINARY_DIR}/codesigning)
set(MACHELPER_OTHER_TEAM_ID "ZZZZZ99999")
set(MACHELPER_SIGNING_IDENTITY "Developer ID Application: MacHelper Client (${MACHELPER_TEAM_ID})")
set(MACHELPER_SIGNING_KEYCHAIN ${MACHELPER_PKI_DIR}/client-identity.pem)
set(MACHELPER_OTHER_SIGNING_IDENTITY "Developer ID Application: Other Developer (${MACHELPER_OTHER_TEAM_ID})")
set(MACHELPER_OTHER_SIGNING_KEYCHAIN ${MACHELPER_PKI_DIR}/other-identity.pem)
set(MACHELPER_ROOTS_KEYCHAIN ${MACHELPER_PKI_DIR}/SystemRootCertificates.keychain)

set(_pki_stamp "${MACHELPER_TEAM_ID} ${MACHELPER_OTHER_TEAM_ID}")
set(_pki_current "")
if(EXISTS ${MACHELPER_PKI_DIR}/stamp)
  file(STRINGS ${MACHELPER_PKI_DIR}/stamp _pki_current LIMIT_COUNT 1)
endif()
if(NOT _pki_current STREQUAL _pki_stamp)
  execute_process(
    COMMAND sh ${CMAKE_CURRENT_LIST_DIR}/make-codesigning-pki ${MACHELPER_PKI_DIR}
            ${MACHELPER_TEAM_ID} ${MACHELPER_OTHER_TEAM_ID}
    RESULT_VARIABLE _pki_result)
  if(NOT _pki_result EQUAL 0)
    message(FATAL_ERROR "could not make the code-signing PKI (openssl)")
  endif()
endif()

list(GET MACHELPER_CLIENT_IDS 0 MACHELPER_CLIENT_ID)

# machelper_codesign(<target> [IDENTIFIER id]): signs the target after each
# link with the client identity and the hardened runtime.
function(machelper_codesign target)
  cmake_parse_arguments(S "" "IDENTIFIER" "" ${ARGN})
  if(NOT S_IDENTIFIER)
    set(S_IDENTIFIER ${MACHELPER_CLIENT_ID})
  endif()
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND $<TARGET_FILE:codesign> -f -s ${MACHELPER_SIGNING_IDENTITY} --keychain ${MACHELPER_SIGNING_KEYCHAIN}
            -i ${S_IDENTIFIER} --options runtime $<TARGET_FILE:${target}>
    VERBATIM)
  add_dependencies(${target} codesign)
endfunction()
