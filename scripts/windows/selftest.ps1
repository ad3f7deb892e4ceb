# Checks on a real Windows desktop that need no eyes: the program starts, its source is listed and
# received on this machine, the log says which capture path serves, a change of resolution is
# followed, and the program ends with code 0. Needs TarsinNDI.exe and ndimonitor.exe in one folder.
# Your settings are put aside meanwhile. No other TarsinNDI may run.
# usage: powershell -ExecutionPolicy Bypass -File selftest.ps1 [-Folder C:\...\TarsinNDI] [-KeepMode]
param(
    [string]$Folder = "$env:LOCALAPPDATA\Programs\TarsinNDI",
    [switch]$KeepMode  # Leaves the resolution alone.
)
Set-StrictMode -Version 2
$ErrorActionPreference = 'Stop'

$source = "SelfTest$PID"
$data = "$env:APPDATA\Halvark\TarsinNDI"
$ini = "$data\TarsinNDI.ini"
$log = "$data\log\TarsinNDI"
$printed = "$env:TEMP\$source"
$failures = 0

Add-Type -AssemblyName UIAutomationClient, UIAutomationTypes, System.Windows.Forms
Add-Type -Language CSharp -TypeDefinition @'
using System;
using System.Runtime.InteropServices;

public static class Display {
    // DEVMODEW of wingdi.h, as it is for a display: 220 bytes.
    [StructLayout(LayoutKind.Sequential, CharSet = CharSet.Unicode)]
    public struct Mode {
        [MarshalAs(UnmanagedType.ByValTStr, SizeConst = 32)] public string DeviceName;
        public short SpecVersion, DriverVersion, Size, DriverExtra;
        public int Fields, X, Y, Orientation, FixedOutput;
        public short Color, Duplex, YResolution, TTOption, Collate;
        [MarshalAs(UnmanagedType.ByValTStr, SizeConst = 32)] public string FormName;
        public short LogPixels;
        public int BitsPerPel, Width, Height, Flags, Frequency;
        public int IcmMethod, IcmIntent, MediaType, DitherType, Reserved1, Reserved2, PanX, PanY;
    }

    [DllImport("user32.dll", CharSet = CharSet.Unicode)]
    static extern bool EnumDisplaySettingsW(string device, int number, ref Mode mode);
    [DllImport("user32.dll", CharSet = CharSet.Unicode)]
    static extern int ChangeDisplaySettingsW(ref Mode mode, int flags);
    [DllImport("user32.dll", CharSet = CharSet.Unicode)]
    static extern int ChangeDisplaySettingsW(IntPtr registry, int flags);

    public static Mode? Get(int number) {
        var mode = new Mode { Size = (short)Marshal.SizeOf(typeof(Mode)) };
        return EnumDisplaySettingsW(null, number, ref mode) ? mode : (Mode?)null;
    }
    // For this session only; 0: done.
    public static int Set(Mode mode) {
        mode.Fields = 0x80000 | 0x100000;  // Width and height.
        return ChangeDisplaySettingsW(ref mode, 0);
    }
    public static int Restore() { return ChangeDisplaySettingsW(IntPtr.Zero, 0); }
}
'@

function Check([string]$what, [bool]$passed, [string]$detail = '') {
    if (-not $passed) { $script:failures++ }
    $result = if ($passed) { 'ok    ' } else { 'FAILED' }
    Write-Host "$result $what $detail"
}

# Repeats the block until it gives something, for so many seconds.
function Wait-For([int]$seconds, [scriptblock]$block) {
    $until = (Get-Date).AddSeconds($seconds)
    do {
        $result = & $block
        if ($result) { return $result }
        Start-Sleep -Milliseconds 200
    } while ((Get-Date) -lt $until)
    return $null
}

# A text file from that byte on. Another program may have it open.
function Read-From([string]$file, [long]$begin) {
    $stream = New-Object IO.FileStream $file, 'Open', 'Read', 'ReadWrite, Delete'
    try {
        [void]$stream.Seek($begin, 'Begin')
        return (New-Object IO.StreamReader $stream, ([Text.Encoding]::UTF8)).ReadToEnd()
    } finally { $stream.Close() }
}

# The log since this test began. A full log file is renamed meanwhile.
function Read-Log {
    if ((Get-Item -LiteralPath $log).Length -ge $logBegin) { return Read-From $log $logBegin }
    return (Read-From "$log.1" $logBegin) + (Read-From $log 0)
}

# What ndimonitor prints; $script:code is its exit code.
function Run-Monitor([string[]]$arguments) {
    $ErrorActionPreference = 'Continue'  # Text on standard error is no error here.
    # As text one by one: Out-String would break lines, and decorate those from standard error.
    $lines = & "$Folder\ndimonitor.exe" $arguments 2>&1 | ForEach-Object { "$_" }
    $script:code = $LASTEXITCODE
    return $lines -join "`r`n"
}
function Receive { return Run-Monitor $source, '--seconds', '5', '--wait', '10' }

# $null: there is no such button, or the window is just being made.
function Find-Button([string]$caption) {
    $element = [Windows.Automation.AutomationElement]
    $isNamed = New-Object Windows.Automation.PropertyCondition @($element::NameProperty, $caption)
    $isButton = New-Object Windows.Automation.PropertyCondition @(
        $element::ControlTypeProperty, [Windows.Automation.ControlType]::Button)
    try {
        $program.Refresh()
        $window = $element::FromHandle($program.MainWindowHandle)
        return $window.FindFirst([Windows.Automation.TreeScope]::Descendants,
            (New-Object Windows.Automation.AndCondition @($isNamed, $isButton)))
    } catch { return $null }
}

# The number that the program gives the primary screen, whose resolution is changed below.
function Get-PrimaryIndex {
    $screens = @([Windows.Forms.Screen]::AllScreens |
        Sort-Object { $_.DeviceName.Length }, { $_.DeviceName })
    for ($i = 0; $i -lt $screens.Count; $i++) { if ($screens[$i].Primary) { return $i } }
}

if (Get-Process TarsinNDI -ErrorAction SilentlyContinue) { throw 'TarsinNDI runs already; close it first.' }
foreach ($name in 'TarsinNDI.exe', 'ndimonitor.exe') {
    if (-not (Test-Path -LiteralPath "$Folder\$name")) { throw "$Folder\$name is missing; see -Folder." }
}
[void](New-Item -ItemType Directory -Force $data)
$kept = $null
if (Test-Path -LiteralPath $ini) { $kept = [IO.File]::ReadAllBytes($ini) }
$logBegin = [long]0
if (Test-Path -LiteralPath $log) { $logBegin = (Get-Item -LiteralPath $log).Length }
$program = $null
$modeChanged = $false
try {
    [IO.File]::WriteAllText($ini, "[SystemSet]`r`nname=$source`r`nlanguage=EN`r`nscreenIndex=$(Get-PrimaryIndex)`r`n")
    # It would print to this console otherwise.
    $program = Start-Process "$Folder\TarsinNDI.exe" -PassThru `
        -RedirectStandardOutput "$printed.out" -RedirectStandardError "$printed.err"
    [void]$program.Handle  # Without it there is no exit code later.
    $start = Wait-For 30 { Find-Button 'Start' }
    Check 'the window opens' ($null -ne $start)
    if ($null -eq $start) { throw 'nothing more can be checked' }
    $start.GetCurrentPattern([Windows.Automation.InvokePattern]::Pattern).Invoke()
    Check 'Start was pressed' ($null -ne (Wait-For 10 { Find-Button 'Pause' }))

    $list = Run-Monitor '--list', '--wait', '5'
    Check 'the source is listed' $list.Contains("($source)")
    $mode = [Display]::Get(-1)
    $text = Receive
    Check 'it is received' ($code -eq 0) "(exit code $code)"
    Write-Host ($text.Trim() -replace '(?m)^', '       ')
    Check 'the log has the start' ((Read-Log) -match 'initParmeter x \d+ y \d+ w \d+ h \d+')
    $slow = (Read-Log) -match 'DX screenshot failed'
    $reason = if ((Read-Log) -match 'cannot be captured: ([^\r\n]*)') { $Matches[1] } else { '' }
    Check 'desktop duplication serves' (-not $slow) $reason

    $other = 0..200 | ForEach-Object { [Display]::Get($_) } |
        Where-Object { $_ -and $_.Width -ge 800 -and $_.Width -lt $mode.Width -and $_.BitsPerPel -eq 32 } |
        Select-Object -Last 1
    if ($KeepMode -or $null -eq $other) {
        Write-Host '       the resolution is left alone'
    } else {
        $modeChanged = $true
        Check 'the resolution changes' ([Display]::Set($other) -eq 0) "to $($other.Width)x$($other.Height)"
        Start-Sleep -Seconds 2
        $width = [int]([Math]::Ceiling($other.Width / 16) * 16)
        $text = Receive
        Check 'the source follows' ($code -eq 0 -and $text -match "(?<!\d)($($other.Width)|$width)x$($other.Height)(?!\d)")
        Write-Host ($text.Trim() -replace '(?m)^', '       ')
        [void][Display]::Restore()
        $modeChanged = $false
        Start-Sleep -Seconds 2
        $text = Receive
        Check 'and back' ($code -eq 0 -and $text -match "x$($mode.Height)(?!\d)")
    }

    [void]$program.CloseMainWindow()
    Check 'the program ends' $program.WaitForExit(15000)
    if ($program.HasExited) {
        Check 'with exit code 0' ($program.ExitCode -eq 0) "($($program.ExitCode))"
    }
    Check 'the log ends with the banner' ((Read-Log) -match '#\s+STOP\s+#')
} finally {
    if ($modeChanged) { [void][Display]::Restore() }
    if ($program -and -not $program.HasExited) {
        $program.Kill()
        [void]$program.WaitForExit(5000)  # It writes its settings no more.
    }
    Remove-Item "$printed.out", "$printed.err" -ErrorAction SilentlyContinue
    if ($null -ne $kept) { [IO.File]::WriteAllBytes($ini, $kept) } else { Remove-Item $ini -ErrorAction SilentlyContinue }
}
Write-Host "$failures failed"
exit [int]($failures -gt 0)
