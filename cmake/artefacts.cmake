# What a Linux build produces for users, whatever its processor: the VST 2
# module, the LV2 bundle, the CLAP plug-in and the VST3 bundle. Listed in
# <build>/artefacts.txt (kind, then the path in the build tree) and installed
# under <prefix>/lib/{vst,lv2,clap,vst3}, the folders Linux hosts search.
set(korro_artefacts
  "vst2\t$<TARGET_FILE:KORRO_MERIDAN>"
  "lv2\t${KORRO_LV2_BUNDLE}"
  "clap\t$<TARGET_FILE:korro_clap>"
  "vst3\t${KORRO_VST3_BUNDLE}")
list(JOIN korro_artefacts "\n" korro_artefacts)
file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/artefacts.txt
  CONTENT "processor\t${CMAKE_SYSTEM_PROCESSOR}\n${korro_artefacts}\n")

install(TARGETS KORRO_MERIDAN LIBRARY DESTINATION lib/vst)
install(DIRECTORY ${KORRO_LV2_BUNDLE} DESTINATION lib/lv2 USE_SOURCE_PERMISSIONS)
install(TARGETS korro_clap LIBRARY DESTINATION lib/clap)
install(DIRECTORY ${KORRO_VST3_BUNDLE} DESTINATION lib/vst3 USE_SOURCE_PERMISSIONS)
