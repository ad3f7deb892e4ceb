; The installer: for one user, without administrator rights.
;   setup.exe          asks for the folder
;   setup.exe /S       silently; /D=C:\folder as the last argument names the folder, without quotes
;   uninstall.exe /S   removes it silently; settings and logs of the user stay
Target amd64-unicode
Unicode true
ManifestDPIAware true
RequestExecutionLevel user
SetCompressor /SOLID lzma

!include LogicLib.nsh
!include MUI2.nsh

!define KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\TarsinNDI"
Name "TarsinNDI"
OutFile "${RESULT}"
InstallDir "$LOCALAPPDATA\Programs\TarsinNDI"
InstallDirRegKey HKCU "${KEY}" "InstallLocation"
VIProductVersion "${VERSION}.0"
VIAddVersionKey "ProductName" "TarsinNDI"
VIAddVersionKey "FileDescription" "TarsinNDI installer"
VIAddVersionKey "FileVersion" "${VERSION}"
VIAddVersionKey "LegalCopyright" ""

!define MUI_ICON "${ICON}"
!define MUI_UNICON "${ICON}"
!define MUI_FINISHPAGE_RUN "$INSTDIR\TarsinNDI.exe"
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"
!insertmacro MUI_LANGUAGE "SimpChinese"
!insertmacro MUI_LANGUAGE "TradChinese"
!insertmacro MUI_LANGUAGE "Korean"
!insertmacro MUI_LANGUAGE "Russian"

; A running program can't be replaced; its file refuses to be opened for writing.
!macro REFUSE_WHILE_RUNNING
    ${If} ${FileExists} "$INSTDIR\TarsinNDI.exe"
        ClearErrors
        FileOpen $0 "$INSTDIR\TarsinNDI.exe" a
        ${If} ${Errors}
            MessageBox MB_OK|MB_ICONEXCLAMATION "TarsinNDI is running. Please close it first." /SD IDOK
            SetErrorLevel 2
            Abort
        ${EndIf}
        FileClose $0
    ${EndIf}
!macroend

Section
    !insertmacro REFUSE_WHILE_RUNNING
    SetOutPath "$INSTDIR"
    File /r "${FILES}\*"
    WriteUninstaller "$INSTDIR\uninstall.exe"
    CreateShortcut "$SMPROGRAMS\TarsinNDI.lnk" "$INSTDIR\TarsinNDI.exe"
    WriteRegStr HKCU "${KEY}" "DisplayName" "TarsinNDI"
    WriteRegStr HKCU "${KEY}" "DisplayVersion" "${VERSION}"
    WriteRegStr HKCU "${KEY}" "DisplayIcon" "$INSTDIR\TarsinNDI.exe"
    WriteRegStr HKCU "${KEY}" "Publisher" "Halvark"
    WriteRegStr HKCU "${KEY}" "InstallLocation" "$INSTDIR"
    WriteRegStr HKCU "${KEY}" "UninstallString" '"$INSTDIR\uninstall.exe"'
    WriteRegStr HKCU "${KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
    WriteRegDWORD HKCU "${KEY}" "NoModify" 1
    WriteRegDWORD HKCU "${KEY}" "NoRepair" 1
SectionEnd

; Removes what the installer brought, file by file: the folder may hold other things.
Section "Uninstall"
    !insertmacro REFUSE_WHILE_RUNNING
    !include "${DELETIONS}"
    Delete "$INSTDIR\uninstall.exe"
    RMDir "$INSTDIR"
    Delete "$SMPROGRAMS\TarsinNDI.lnk"
    DeleteRegKey HKCU "${KEY}"
SectionEnd
