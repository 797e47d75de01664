@echo off
rem Installs or updates the port monitor from the files beside this script; ends with 0 only when that is done.
rem What fails on the way is taken back.
setlocal
set "version=@VERSION@"
set "key=HKLM\@MONITORS_KEY@\@MONITOR_NAME@"
set "environment=HKLM\SYSTEM\CurrentControlSet\Control\Session Manager\Environment"
set "programs=%ProgramFiles%\Tessaron Port Monitor"
set "system=%SystemRoot%\System32"
set "here=%~dp0"

if not "%PROCESSOR_ARCHITECTURE%"=="AMD64" (
    echo This needs 64-bit Windows on x64 and its 64-bit command prompt. Nothing was changed.
    exit /b 2
)
for %%f in (@MONITOR_LIBRARY@ @DIALOGS_LIBRARY@ tsport\tsport.exe README.txt print-provider.conf.sample uninstall.cmd) do (
    if not exist "%here%%%f" (
        echo %here%%%f is missing: unpack the whole package. Nothing was changed.
        exit /b 2
    )
)
rem The upgrade code of the MSI package, as Windows Installer writes it.
reg query HKLM\SOFTWARE\Classes\Installer\UpgradeCodes\F72E9EF119AE61C4F8269AC213349ECE >nul 2>&1
if not errorlevel 1 (
    echo The monitor was installed by its MSI package: update it with msiexec. Nothing was changed.
    exit /b 2
)
set "installed="
if exist "%programs%\version.txt" for /f "usebackq" %%v in ("%programs%\version.txt") do set "installed=%%v"
call :number "%version%" new
call :number "%installed%" old
if %old% gtr %new% (
    echo A newer version, %installed%, is installed. To go back to %version%, remove it first; the ports stay.
    exit /b 2
)

rem What cannot be written shows here, before anything is changed.
set "targets="%programs%\tsport.exe" "%system%\@DIALOGS_LIBRARY@" "%system%\@MONITOR_LIBRARY@""
mkdir "%programs%" 2>nul
copy /y "%here%tsport\tsport.exe" "%programs%\tsport.exe.new" >nul 2>&1
if errorlevel 1 goto :forbidden
for %%f in (@MONITOR_LIBRARY@ @DIALOGS_LIBRARY@) do (
    copy /y "%here%%%f" "%system%\%%f.new" >nul 2>&1
    if errorlevel 1 goto :forbidden
)
for %%t in (%targets%) do (
    if exist "%%~t\*" (
        echo %%~t is a folder. Nothing was changed.
        goto :clean
    )
    if exist "%%~t.old" del /q "%%~t.old" >nul 2>&1
)

call :stop
if errorlevel 1 goto :clean
rem Each library that is replaced by another one is kept, in a folder with a number of its own: the oldest is former\1.
set "differs="
call :compare @MONITOR_LIBRARY@
call :compare @DIALOGS_LIBRARY@
if not defined differs goto :kept
set "number=1"
:next
if exist "%programs%\former\%number%\" (
    set /a number+=1
    goto :next
)
mkdir "%programs%\former\%number%"
call :keep @MONITOR_LIBRARY@
if errorlevel 1 goto :back
call :keep @DIALOGS_LIBRARY@
if errorlevel 1 goto :back
echo The former library is kept in "%programs%\former\%number%".
:kept
for %%t in (%targets%) do (
    if exist "%%~t" move /y "%%~t" "%%~t.old" >nul 2>&1
    if exist "%%~t" goto :in_use
    move /y "%%~t.new" "%%~t" >nul 2>&1
    if exist "%%~t.new" goto :in_use
)
reg add "%key%" /v Driver /t REG_SZ /d @MONITOR_LIBRARY@ /f >nul
if errorlevel 1 goto :back
for %%f in (README.txt print-provider.conf.sample uninstall.cmd) do copy /y "%here%%%f" "%programs%\" >nul
echo %version%>"%programs%\version.txt"
for %%t in (%targets%) do if exist "%%~t.old" del /q "%%~t.old" >nul 2>&1
call :path
call :start
if errorlevel 1 exit /b 1
echo Version %version% is installed. tsport and README.txt are in "%programs%".
exit /b 0

:in_use
echo A file is in use: close tsport and the programs that show the port dialogs.
:back
for %%t in (%targets%) do (
    if not exist "%%~t.new" del /q "%%~t"
    if not exist "%%~t" if exist "%%~t.old" move /y "%%~t.old" "%%~t" >nul
)
call :start
echo The installation failed. What was installed before is in place again.
goto :clean
:forbidden
echo %system% or "%programs%" cannot be written: this needs a command prompt that runs as administrator. Nothing was changed.
:clean
for %%t in (%targets%) do if exist "%%~t.new" del "%%~t.new"
rmdir "%programs%" 2>nul
exit /b 1

rem :number VERSION VARIABLE makes a version a number that can be compared.
:number
set "%~2=0"
for /f "tokens=1-3 delims=." %%a in ("%~1") do set /a "%~2=%%a*1000000+%%b*1000+%%c"
exit /b 0

rem :compare NAME sets "differs" when a library of that name is there and is another than the package's.
:compare
if not exist "%system%\%~1" exit /b 0
for %%f in ("%system%\%~1") do set "size=%%~zf"
for %%f in ("%here%%~1") do if not "%%~zf"=="%size%" set "differs=1"
fc /b "%system%\%~1" "%here%%~1" >nul 2>&1
rem Not every fc compares bytes: it then says 2, as for a file that is not there.
if errorlevel 2 fc "%system%\%~1" "%here%%~1" >nul 2>&1
if errorlevel 1 set "differs=1"
exit /b 0

rem :keep NAME copies the library of that name, if it is there, into the new folder.
:keep
if not exist "%system%\%~1" exit /b 0
copy /y "%system%\%~1" "%programs%\former\%number%\%~1" >nul
exit /b %errorlevel%

:stop
set "was_running="
call :state
if not "%state%"=="1" set "was_running=1"
net stop spooler /y >nul 2>&1
if errorlevel 1 net stop spooler >nul 2>&1
call :state
if "%state%"=="1" exit /b 0
if defined was_running net start spooler >nul 2>&1
echo The print spooler does not stop. Nothing was changed.
exit /b 1

rem :state sets "state" to the number of the spooler's state, 1 when it is stopped. The words differ between languages; the
rem type, which comes before it, has more digits. Without an answer sc is asked again.
:state
set "state="
for %%i in (1 2 3) do if not defined state call :ask_state
exit /b 0
:ask_state
for /f "tokens=2 delims=:" %%a in ('sc query spooler') do call :state_number %%a
exit /b 0
:state_number
if not defined state for %%n in (1 2 3 4 5 6 7) do if "%~1"=="%%n" set "state=%%n"
exit /b 0

:start
if not defined was_running (
    echo The print spooler was not running and is left so.
    exit /b 0
)
for %%i in (1 2 3) do call :try_to_start
if "%state%"=="4" exit /b 0
echo The print spooler does not start: see the event log of Windows.
exit /b 1
rem A start can fail as long as the process that was stopped is still there.
:try_to_start
if not "%state%"=="4" net start spooler >nul 2>&1
call :state
exit /b 0

:path
set "path_value="
for /f "tokens=2,*" %%a in ('reg query "%environment%" /v Path') do set "path_value=%%b"
if not defined path_value goto :no_path
if not "%path_value:"=%"=="%path_value%" goto :no_path
set "rest=%path_value%"
:entry
set "entry="
for /f "tokens=1* delims=;" %%a in ("%rest%") do (
    set "entry=%%a"
    set "rest=%%b"
)
if /i "%entry%"=="%programs%" exit /b 0
if defined rest goto :entry
reg add "%environment%" /v Path /t REG_EXPAND_SZ /d "%path_value%;%programs%" /f >nul
if errorlevel 1 goto :no_path
echo tsport is found in command prompts that are opened after the next sign-in.
exit /b 0
:no_path
echo The path could not be changed; add "%programs%" to it to call tsport from everywhere.
exit /b 0
