; The Windows installer. The release target compiles it with
;   makensis -DVERSION=1.2 -DSHIPPED=shipped.nsh -DOUTFILE=Kestrelia-1.2-setup.exe kestrelia.nsi
; where shipped.nsh (written by the build) installs and removes the shipped files one by one,
; so the uninstaller deletes exactly the files the installer wrote and never a folder's rest.
;
; Silent use: Kestrelia-setup.exe /S [/D=C:\folder] [/ASSOC=.zip,.tar|none]
; Without /ASSOC a silent install takes only the archive types no other program opens; a type
; another program owns is taken only when it is named (the command line is the question).

Unicode true
Target amd64-unicode
SetCompressor /SOLID lzma
ManifestDPIAware true
RequestExecutionLevel admin

!include MUI2.nsh
!include nsDialogs.nsh
!include LogicLib.nsh
!include FileFunc.nsh
!include StrFunc.nsh
${StrStr}
!include "${SHIPPED}"

!define PRODUCT "Kestrelia"
!define CLASS "ZipFile"
!define UNINST_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\${PRODUCT}"
; What the installer found before it changed an association or the class, kept in its own
; uninstall key so the uninstaller can put it back (and nothing else).
!define PREVIOUS "Previous"

Name "${PRODUCT} ${VERSION}"
OutFile "${OUTFILE}"
InstallDir "$PROGRAMFILES64\${PRODUCT}"
InstallDirRegKey HKLM "${UNINST_KEY}" "InstallLocation"
BrandingText "${PRODUCT} ${VERSION}"

!define MUI_ICON "${ICON}"
!define MUI_UNICON "${ICON}"
!define MUI_ABORTWARNING

!insertmacro MUI_PAGE_DIRECTORY
Page custom AssociationsPage AssociationsPageLeave
!insertmacro MUI_PAGE_INSTFILES
!define MUI_FINISHPAGE_RUN "$INSTDIR\Kestrelia.exe"
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES

!insertmacro MUI_LANGUAGE "English"
!insertmacro MUI_LANGUAGE "German"

LangString AssocTitle ${LANG_ENGLISH} "File types"
LangString AssocTitle ${LANG_GERMAN} "Dateitypen"
LangString AssocSubtitle ${LANG_ENGLISH} "Choose the archives that open in ${PRODUCT} by double-click."
LangString AssocSubtitle ${LANG_GERMAN} "Wählen Sie die Archive, die ein Doppelklick in ${PRODUCT} öffnet."
LangString AssocOwned ${LANG_ENGLISH} "now opened by"
LangString AssocOwned ${LANG_GERMAN} "bisher geöffnet von"
LangString ClassName ${LANG_ENGLISH} "Archive"
LangString ClassName ${LANG_GERMAN} "Archiv"

Var Dialog
; Per type: "1" when the installer is to associate it; the box's handle while the page shows.
!macro TypeVars id
  Var Want${id}
  Var Box${id}
!macroend
!insertmacro TypeVars zip
!insertmacro TypeVars jar
!insertmacro TypeVars war
!insertmacro TypeVars tar
!insertmacro TypeVars tgz
!insertmacro TypeVars gz
!insertmacro TypeVars bz2
!insertmacro TypeVars iso
!insertmacro TypeVars nrg
!insertmacro TypeVars rar
!insertmacro TypeVars 7z
!insertmacro TypeVars cab
!insertmacro TypeVars xz
!insertmacro TypeVars zst
!insertmacro TypeVars lzh
!insertmacro TypeVars cpio
!insertmacro TypeVars deb
!insertmacro TypeVars rpm

; Runs the macro NAME once per archive type with (id, extension, how often users meet it):
; the rarer types are offered unticked.
!macro ForEachType NAME
  !insertmacro ${NAME} zip .zip common
  !insertmacro ${NAME} jar .jar common
  !insertmacro ${NAME} war .war common
  !insertmacro ${NAME} tar .tar common
  !insertmacro ${NAME} tgz .tgz common
  !insertmacro ${NAME} gz .gz common
  !insertmacro ${NAME} bz2 .bz2 common
  !insertmacro ${NAME} iso .iso common
  !insertmacro ${NAME} nrg .nrg common
  !insertmacro ${NAME} rar .rar common
  !insertmacro ${NAME} 7z .7z common
  !insertmacro ${NAME} cab .cab common
  !insertmacro ${NAME} xz .xz common
  !insertmacro ${NAME} zst .zst rare
  !insertmacro ${NAME} lzh .lzh rare
  !insertmacro ${NAME} cpio .cpio rare
  !insertmacro ${NAME} deb .deb rare
  !insertmacro ${NAME} rpm .rpm rare
!macroend

; The first choice: a type nobody opens (or this program already does) is ticked, one another
; program opens is not. /ASSOC names the types outright.
!macro ChooseDefault id ext how
  ReadRegStr $0 HKCR "${ext}" ""
  ${If} $0 == "${CLASS}"
  ${OrIf} "${how}$0" == "common"
    StrCpy $Want${id} 1
  ${Else}
    StrCpy $Want${id} 0
  ${EndIf}
  ${If} $R1 != ""
    ${StrStr} $0 ",$R1," ",${ext},"
    ${If} $0 == ""
      StrCpy $Want${id} 0
    ${Else}
      StrCpy $Want${id} 1
    ${EndIf}
  ${EndIf}
!macroend

Function .onInit
  SetRegView 64
  ${GetParameters} $R0
  ClearErrors
  ${GetOptions} $R0 "/ASSOC=" $R1
  ${If} ${Errors}
    StrCpy $R1 ""
  ${EndIf}
  !insertmacro ForEachType ChooseDefault
FunctionEnd

; One check box per type, naming the program that opens it now: three columns of boxes 14
; dialog units apart, filled top to bottom.
!macro TypeBox id ext how
  ReadRegStr $0 HKCR "${ext}" ""
  ${If} $0 == ""
  ${OrIf} $0 == "${CLASS}"
    StrCpy $1 "${ext}"
  ${Else}
    StrCpy $1 "${ext}   ($(AssocOwned) $0)"
  ${EndIf}
  ${NSD_CreateCheckbox} $4% $2u 33% 12u $1
  Pop $Box${id}
  ${If} $Want${id} == 1
    ${NSD_Check} $Box${id}
  ${EndIf}
  IntOp $2 $2 + 14
  ${If} $2 >= 98
    StrCpy $2 0
    IntOp $4 $4 + 34
  ${EndIf}
!macroend

!macro ReadBox id ext how
  ${NSD_GetState} $Box${id} $0
  ${If} $0 == ${BST_CHECKED}
    StrCpy $Want${id} 1
  ${Else}
    StrCpy $Want${id} 0
  ${EndIf}
!macroend

Function AssociationsPage
  !insertmacro MUI_HEADER_TEXT "$(AssocTitle)" "$(AssocSubtitle)"
  nsDialogs::Create 1018
  Pop $Dialog
  ${If} $Dialog == error
    Abort
  ${EndIf}
  StrCpy $2 0
  StrCpy $4 0
  !insertmacro ForEachType TypeBox
  nsDialogs::Show
FunctionEnd

Function AssociationsPageLeave
  !insertmacro ForEachType ReadBox
FunctionEnd

; Gives a type back to the class that opened it before, but only while it is still this
; program's: a type another program took since is left to that program.
!macro Unassociate id ext how
  ClearErrors
  ReadRegStr $0 HKLM "${UNINST_KEY}\${PREVIOUS}" "${ext}"
  ${IfNot} ${Errors}
    ReadRegStr $1 HKLM "Software\Classes\${ext}" ""
    ${If} $1 == "${CLASS}"
      ${If} $0 == ""
        DeleteRegValue HKLM "Software\Classes\${ext}" ""
        DeleteRegKey /ifempty HKLM "Software\Classes\${ext}"
      ${Else}
        WriteRegStr HKLM "Software\Classes\${ext}" "" $0
      ${EndIf}
    ${EndIf}
  ${EndIf}
!macroend

; Takes a type over, remembering the class that opened it before (empty: none) unless a
; previous install already did, so a second install never records itself as the old owner.
; A type an earlier install took and this one leaves unticked goes back to its old owner.
!macro Associate id ext how
  ${If} $Want${id} == 1
    ReadRegStr $0 HKLM "Software\Classes\${ext}" ""
    ${If} $0 != "${CLASS}"
      WriteRegStr HKLM "${UNINST_KEY}\${PREVIOUS}" "${ext}" $0
      WriteRegStr HKLM "Software\Classes\${ext}" "" "${CLASS}"
    ${EndIf}
    StrCpy $3 1
  ${Else}
    !insertmacro Unassociate ${id} ${ext} ${how}
    DeleteRegValue HKLM "${UNINST_KEY}\${PREVIOUS}" "${ext}"
  ${EndIf}
!macroend

Section "Install"
  SetRegView 64
  SetShellVarContext all
  !insertmacro InstallShipped
  WriteUninstaller "$INSTDIR\uninstall.exe"

  StrCpy $3 0
  !insertmacro ForEachType Associate
  ${If} $3 == 1
    ; The class's earlier command and icon, when one was there, come back on uninstall.
    ClearErrors
    ReadRegStr $0 HKLM "${UNINST_KEY}\${PREVIOUS}" "class"
    ${If} ${Errors}
      ClearErrors
      EnumRegKey $0 HKLM "Software\Classes\${CLASS}" 0
      ${IfNot} ${Errors}
      ${AndIf} $0 != ""
        ReadRegStr $0 HKLM "Software\Classes\${CLASS}\shell\open\command" ""
        ReadRegStr $1 HKLM "Software\Classes\${CLASS}\DefaultIcon" ""
        WriteRegStr HKLM "${UNINST_KEY}\${PREVIOUS}" "class" "existed"
        WriteRegStr HKLM "${UNINST_KEY}\${PREVIOUS}" "class command" $0
        WriteRegStr HKLM "${UNINST_KEY}\${PREVIOUS}" "class icon" $1
      ${Else}
        WriteRegStr HKLM "${UNINST_KEY}\${PREVIOUS}" "class" "new"
      ${EndIf}
    ${EndIf}
    WriteRegStr HKLM "Software\Classes\${CLASS}" "" "$(ClassName)"
    WriteRegStr HKLM "Software\Classes\${CLASS}\DefaultIcon" "" "$INSTDIR\Kestrelia.exe,0"
    WriteRegStr HKLM "Software\Classes\${CLASS}\shell\open\command" "" '"$INSTDIR\Kestrelia.exe" "%1"'
    System::Call 'shell32::SHChangeNotify(i 0x08000000, i 0, p 0, p 0)'
  ${EndIf}

  CreateShortcut "$SMPROGRAMS\${PRODUCT}.lnk" "$INSTDIR\Kestrelia.exe"

  WriteRegStr HKLM "${UNINST_KEY}" "DisplayName" "${PRODUCT}"
  WriteRegStr HKLM "${UNINST_KEY}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKLM "${UNINST_KEY}" "Publisher" "${PRODUCT}"
  WriteRegStr HKLM "${UNINST_KEY}" "DisplayIcon" "$INSTDIR\Kestrelia.exe,0"
  WriteRegStr HKLM "${UNINST_KEY}" "InstallLocation" "$INSTDIR"
  WriteRegStr HKLM "${UNINST_KEY}" "UninstallString" '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKLM "${UNINST_KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
  WriteRegDWORD HKLM "${UNINST_KEY}" "NoModify" 1
  WriteRegDWORD HKLM "${UNINST_KEY}" "NoRepair" 1
  ${GetSize} "$INSTDIR" "/S=0K" $0 $1 $2
  WriteRegDWORD HKLM "${UNINST_KEY}" "EstimatedSize" $0
SectionEnd

Section "Uninstall"
  SetRegView 64
  SetShellVarContext all
  !insertmacro ForEachType Unassociate
  ReadRegStr $0 HKLM "${UNINST_KEY}\${PREVIOUS}" "class"
  ${If} $0 == "new"
    DeleteRegKey HKLM "Software\Classes\${CLASS}"
  ${ElseIf} $0 == "existed"
    ReadRegStr $1 HKLM "${UNINST_KEY}\${PREVIOUS}" "class command"
    WriteRegStr HKLM "Software\Classes\${CLASS}\shell\open\command" "" $1
    ReadRegStr $1 HKLM "${UNINST_KEY}\${PREVIOUS}" "class icon"
    WriteRegStr HKLM "Software\Classes\${CLASS}\DefaultIcon" "" $1
  ${EndIf}
  ${If} $0 != ""
    System::Call 'shell32::SHChangeNotify(i 0x08000000, i 0, p 0, p 0)'
  ${EndIf}

  Delete "$SMPROGRAMS\${PRODUCT}.lnk"
  !insertmacro RemoveShipped
  Delete "$INSTDIR\uninstall.exe"
  RMDir "$INSTDIR"
  DeleteRegKey HKLM "${UNINST_KEY}"
SectionEnd
