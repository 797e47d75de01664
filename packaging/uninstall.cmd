@echo off
rem Removes the port monitor that install.cmd has installed; ends with 0 only when that is done. The ports stay for a later
rem installation, unless it is called as: uninstall.cmd REMOVEPORTS=1
setlocal
set "key=HKLM\@MONITORS_KEY@\@MONITOR_NAME@"
set "environment=HKLM\SYSTEM\CurrentControlSet\Control\Session Manager\Environment"
set "programs=%ProgramFiles%\Tessaron Port Monitor"
set "system=%SystemRoot%\System32"
set "libraries="%system%\@DIALOGS_LIBRARY@" "%system%\@MONITOR_LIBRARY@""

if not "%PROCESSOR_ARCHITECTURE%"=="AMD64" (
    echo This needs 64-bit Windows on x64 and its 64-bit command prompt. Nothing was changed.
    exit /b 2
)
rem The equals sign separates words here.
set "remove_ports="
if not "%~1"=="" if not "%~1 %~2"=="REMOVEPORTS 1" if not "%~1"=="REMOVEPORTS=1" (
    echo usage: uninstall.cmd [REMOVEPORTS=1]
    exit /b 2
)
if not "%~1"=="" set "remove_ports=1"
reg query HKLM\SOFTWARE\Classes\Installer\UpgradeCodes\F72E9EF119AE61C4F8269AC213349ECE >nul 2>&1
if not errorlevel 1 (
    echo The monitor was installed by its MSI package: remove it with msiexec. Nothing was changed.
    exit /b 2
)
copy /y "%~f0" "%system%\tsprintportmon.new" >nul 2>&1
if not exist "%system%\tsprintportmon.new" (
    echo %system% cannot be written: this needs a command prompt that runs as administrator. Nothing was changed.
    exit /b 1
)
del "%system%\tsprintportmon.new"

call :stop
if errorlevel 1 exit /b 1
for %%t in (%libraries%) do (
    if exist "%%~t.old" del /q "%%~t.old" >nul 2>&1
    if exist "%%~t" move /y "%%~t" "%%~t.old" >nul 2>&1
    if exist "%%~t" goto :in_use
)
reg query "%key%" /v Driver >nul 2>&1
if not errorlevel 1 (
    reg delete "%key%" /v Driver /f >nul
    if errorlevel 1 goto :back
)
if defined remove_ports reg delete "%key%" /f >nul 2>&1
for %%t in (%libraries%) do if exist "%%~t.old" del /q "%%~t.old" >nul 2>&1
for %%f in (tsport.exe README.txt print-provider.conf.sample version.txt) do del "%programs%\%%f" >nul 2>&1
call :path
call :start
set "result=%errorlevel%"
if defined remove_ports (echo The monitor and its ports are removed.) else echo The monitor is removed; its ports stay in the registry.
if exist "%programs%\former\" echo Former libraries stay in "%programs%\former".
(
    del "%programs%\uninstall.cmd" >nul 2>&1
    rmdir "%programs%" 2>nul
    exit /b %result%
)

:in_use
echo A library in %system% is in use: close the programs that show its dialogs.
:back
for %%t in (%libraries%) do if exist "%%~t.old" move /y "%%~t.old" "%%~t" >nul
call :start
echo Nothing was removed.
exit /b 1

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
if not defined path_value exit /b 0
if not "%path_value:"=%"=="%path_value%" goto :no_path
set "rest=%path_value%"
set "kept="
set "found="
:entry
set "entry="
for /f "tokens=1* delims=;" %%a in ("%rest%") do (
    set "entry=%%a"
    set "rest=%%b"
)
if /i "%entry%"=="%programs%" (set "found=1") else set "kept=%kept%;%entry%"
if defined rest goto :entry
if not defined found exit /b 0
set "kept=%kept:~1%"
if "%kept:~-1%"=="\" set "kept=%kept%\"
reg add "%environment%" /v Path /t REG_EXPAND_SZ /d "%kept%" /f >nul
if not errorlevel 1 exit /b 0
:no_path
echo The path could not be changed; take "%programs%" out of it.
exit /b 0
