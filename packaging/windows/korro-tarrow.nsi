; The 64-bit Windows installer. Built by ./run package:
;   makensis -DVERSION=1.2.0 -DSTAGE=DIR -DOUTFILE=FILE korro-tarrow.nsi
; DIR holds LICENSE.txt, VST2\KORRO_MERIDAN.dll, VST3\Korro Tarrow.vst3\... and
; CLAP\Korro Tarrow.clap, as in the win64 zip.
;
; VST3 and CLAP go to the 64-bit Common Files folders hosts scan, the VST 2 DLL
; to the folder the user picks. The uninstaller removes what the registry says
; was written, and a folder only if this installer made it.
Unicode true
Target amd64-unicode
SetCompressor /SOLID lzma
SetDateSave off
RequestExecutionLevel admin
ManifestDPIAware true

!include MUI2.nsh
!include LogicLib.nsh
!include Sections.nsh

!define KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\KorroTarrow"
!define BUNDLE "Korro Tarrow.vst3"
!define DLL64 "Contents\x86_64-win\Korro Tarrow.vst3"

Name "Korro Tarrow ${VERSION}"
OutFile "${OUTFILE}"
BrandingText "Korro Tarrow ${VERSION}"
; The folder of the VST 2 DLL, the one the directory page asks for (/D= when silent).
InstallDir "$PROGRAMFILES64\VSTPlugins"
ShowInstDetails show
ShowUninstDetails show

Var Written     ; the paths written, one a line, for the last page
Var AppDir      ; the uninstaller and the licence

!define MUI_ABORTWARNING
!define MUI_WELCOMEPAGE_TEXT "This installs Korro Tarrow ${VERSION}, a stereo spring reverb, for 64-bit hosts: \
VST3, CLAP and VST 2.$\r$\n$\r$\nVST3 and CLAP go to the folders every host scans; you choose the folder of \
the VST 2 plug-in. The last page lists every path written."
!insertmacro MUI_PAGE_WELCOME
!insertmacro MUI_PAGE_LICENSE "${STAGE}/LICENSE.txt"
!define MUI_COMPONENTSPAGE_TEXT_TOP "Choose the formats your hosts load."
!insertmacro MUI_PAGE_COMPONENTS
!define MUI_PAGE_CUSTOMFUNCTION_PRE SkipVst2Folder
!define MUI_PAGE_HEADER_TEXT "VST 2 Plug-in Folder"
!define MUI_PAGE_HEADER_SUBTEXT "Choose where the VST 2 plug-in goes."
!define MUI_DIRECTORYPAGE_TEXT_TOP "The VST 2 plug-in (KORRO_MERIDAN.dll) goes into this folder. Choose the one \
your host scans for VST 2 plug-ins."
!define MUI_DIRECTORYPAGE_TEXT_DESTINATION "VST 2 plug-in folder"
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
; The details, with every file written, stay on screen until Next.
!define MUI_FINISHPAGE_NOAUTOCLOSE
!define MUI_FINISHPAGE_TITLE "Korro Tarrow is installed"
!define MUI_FINISHPAGE_TEXT "Written:$\r$\n$Written$\r$\n$\r$\nLet your host rescan its plug-ins. To remove Korro \
Tarrow, use Apps && features (Korro Tarrow ${VERSION})."
!insertmacro MUI_PAGE_FINISH

!define MUI_UNCONFIRMPAGE_TEXT_TOP "Korro Tarrow ${VERSION} will be removed: the VST3, CLAP and VST 2 files it \
installed, wherever they went, and then this folder."
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES

!insertmacro MUI_LANGUAGE "English"

Function .onInit
  SetRegView 64
  StrCpy $AppDir "$PROGRAMFILES64\Korro Tarrow"
FunctionEnd

Function un.onInit
  SetRegView 64
FunctionEnd

; Remember whether a folder existed before this installer wrote into it.
!macro Remember folder name
  ${IfNot} ${FileExists} "${folder}\*.*"
    WriteRegDWORD HKLM "${KEY}" "${name}Made" 1
  ${EndIf}
!macroend

Section "VST3" SecVst3
  !insertmacro Remember "$COMMONFILES64\VST3" "Vst3Folder"
  SetOutPath "$COMMONFILES64\VST3\${BUNDLE}\Contents\x86_64-win"
  File "${STAGE}/VST3/${BUNDLE}/Contents/x86_64-win/Korro Tarrow.vst3"
  WriteRegStr HKLM "${KEY}" "Vst3Bundle" "$COMMONFILES64\VST3\${BUNDLE}"
  StrCpy $Written "$Written$\r$\nVST3:  $COMMONFILES64\VST3\${BUNDLE}"
SectionEnd

Section "CLAP" SecClap
  !insertmacro Remember "$COMMONFILES64\CLAP" "ClapFolder"
  SetOutPath "$COMMONFILES64\CLAP"
  File "${STAGE}/CLAP/Korro Tarrow.clap"
  WriteRegStr HKLM "${KEY}" "Clap" "$COMMONFILES64\CLAP\Korro Tarrow.clap"
  StrCpy $Written "$Written$\r$\nCLAP:  $COMMONFILES64\CLAP\Korro Tarrow.clap"
SectionEnd

Section "VST 2" SecVst2
  !insertmacro Remember "$INSTDIR" "Vst2Folder"
  SetOutPath "$INSTDIR"
  File "${STAGE}/VST2/KORRO_MERIDAN.dll"
  WriteRegStr HKLM "${KEY}" "Vst2Dll" "$INSTDIR\KORRO_MERIDAN.dll"
  WriteRegStr HKLM "${KEY}" "Vst2Folder" "$INSTDIR"
  StrCpy $Written "$Written$\r$\nVST 2: $INSTDIR\KORRO_MERIDAN.dll"
SectionEnd

Section "-uninstaller"
  !insertmacro Remember "$AppDir" "AppFolder"
  SetOutPath "$AppDir"
  File "${STAGE}/LICENSE.txt"
  WriteUninstaller "$AppDir\Uninstall.exe"
  WriteRegStr HKLM "${KEY}" "DisplayName" "Korro Tarrow ${VERSION}"
  WriteRegStr HKLM "${KEY}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKLM "${KEY}" "Publisher" "Korro Tarrow developers"
  WriteRegStr HKLM "${KEY}" "URLInfoAbout" "https://korro-tarrow.example.org"
  WriteRegStr HKLM "${KEY}" "InstallLocation" "$AppDir"
  WriteRegStr HKLM "${KEY}" "UninstallString" '"$AppDir\Uninstall.exe"'
  WriteRegStr HKLM "${KEY}" "QuietUninstallString" '"$AppDir\Uninstall.exe" /S'
  WriteRegDWORD HKLM "${KEY}" "NoModify" 1
  WriteRegDWORD HKLM "${KEY}" "NoRepair" 1
  StrCpy $Written "$Written$\r$\nUninstaller and licence: $AppDir"
SectionEnd

Function SkipVst2Folder
  ${IfNot} ${SectionIsSelected} ${SecVst2}
    Abort
  ${EndIf}
FunctionEnd

LangString DESC_Vst3 ${LANG_ENGLISH} "The VST3 bundle, into $COMMONFILES64\VST3, where every VST3 host looks."
LangString DESC_Clap ${LANG_ENGLISH} "The CLAP plug-in, into $COMMONFILES64\CLAP, where every CLAP host looks."
LangString DESC_Vst2 ${LANG_ENGLISH} "The VST 2 DLL, into a folder you choose on the next page."
!insertmacro MUI_FUNCTION_DESCRIPTION_BEGIN
  !insertmacro MUI_DESCRIPTION_TEXT ${SecVst3} $(DESC_Vst3)
  !insertmacro MUI_DESCRIPTION_TEXT ${SecClap} $(DESC_Clap)
  !insertmacro MUI_DESCRIPTION_TEXT ${SecVst2} $(DESC_Vst2)
!insertmacro MUI_FUNCTION_DESCRIPTION_END

; A folder this installer made goes when it is empty again; one that was
; there before stays.
!macro Forget folder name
  ReadRegDWORD $1 HKLM "${KEY}" "${name}Made"
  ${If} $1 == 1
    RMDir "${folder}"
  ${EndIf}
!macroend

Section "Uninstall"
  ReadRegStr $0 HKLM "${KEY}" "Vst3Bundle"
  ${If} $0 != ""
    Delete "$0\${DLL64}"
    RMDir "$0\Contents\x86_64-win"
    RMDir "$0\Contents"
    RMDir "$0"
    !insertmacro Forget "$COMMONFILES64\VST3" "Vst3Folder"
  ${EndIf}
  ReadRegStr $0 HKLM "${KEY}" "Clap"
  ${If} $0 != ""
    Delete "$0"
    !insertmacro Forget "$COMMONFILES64\CLAP" "ClapFolder"
  ${EndIf}
  ReadRegStr $0 HKLM "${KEY}" "Vst2Dll"
  ${If} $0 != ""
    Delete "$0"
    ReadRegStr $2 HKLM "${KEY}" "Vst2Folder"
    !insertmacro Forget "$2" "Vst2Folder"
  ${EndIf}
  Delete "$INSTDIR\LICENSE.txt"
  Delete "$INSTDIR\Uninstall.exe"
  !insertmacro Forget "$INSTDIR" "AppFolder"
  DeleteRegKey HKLM "${KEY}"
SectionEnd
