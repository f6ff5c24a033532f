; An installer of the bundle as NSIS makes them: it deletes what is there and writes the files. It
; flushes nothing, and checks nothing but its own checksum.
;   makensis -DBUNDLE=... -DTARGET=... -DOUTPUT=... [-XSetCompress off] installer.nsi
Target amd64-unicode
Name "k7k-obs-audio"
OutFile "${OUTPUT}"
RequestExecutionLevel user
SilentInstall silent
SilentUnInstall silent

Section
  RMDir /r "${TARGET}"
  SetOutPath "${TARGET}"
  File /r "${BUNDLE}/*"
  WriteUninstaller "$EXEDIR\uninstall.exe"
SectionEnd

Section Uninstall
  RMDir /r "${TARGET}"
SectionEnd
