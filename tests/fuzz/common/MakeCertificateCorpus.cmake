# Converts every certificate in SOURCE (PEM, *.crt) to DER in OUTPUT, so the
# certificate fuzzers start from the shapes real certificates have: names in
# many scripts, RSA and EC keys, constraints and policies.
file(REMOVE_RECURSE ${OUTPUT})
file(MAKE_DIRECTORY ${OUTPUT})
file(GLOB certificates ${SOURCE}/*.crt)
if(NOT certificates)
  message(FATAL_ERROR "no certificates in ${SOURCE} (Debian's ca-certificates package)")
endif()
foreach(certificate IN LISTS certificates)
  get_filename_component(name ${certificate} NAME_WE)
  execute_process(COMMAND ${OPENSSL} x509 -in ${certificate} -outform DER -out ${OUTPUT}/${name}.der
                  RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "openssl could not read ${certificate}")
  endif()
endforeach()
# A few as PEM: the command also takes certificates in that form.
foreach(name ISRG_Root_X1 DigiCert_Global_Root_G2 Amazon_Root_CA_1)
  if(EXISTS ${SOURCE}/${name}.crt)
    configure_file(${SOURCE}/${name}.crt ${OUTPUT}/${name}.pem COPYONLY)
  endif()
endforeach()
file(WRITE ${OUTPUT}/stamp "")
