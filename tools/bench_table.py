#!/usr/bin/env python3
"""The table of docs/performance.md from one run of kp_bench.

    build/release/bench/kp_bench --benchmark_repetitions=5 \
        --benchmark_report_aggregates_only=true \
        --benchmark_out=bench.json --benchmark_out_format=json
    tools/bench_table.py bench.json

Each row puts one of our benchmarks beside its anchor (the plain C or C++
way to do the same job) from the same run, with the ratio and the goal it
is held to. Medians of the repetitions; CPU time unless the work happens in
another process too: wall time then, or both, the goal holding for the wall
time (what the user waits for), the CPU time given beside it.
"""
import json
import sys

# (family, what is measured, ours, anchor, what the anchor is, goal, time)
# goal: the largest ratio allowed, or None; time: "cpu", "real" or "both".
ROWS = [
    ("call frame", "`EstPair` through its entry function", "BM_IsEven_ThroughEntry", "BM_IsEven_Direct",
     "direct C++ call", None, "cpu"),
    ("call frame", "`DateSys()` through its entry function", "BM_DateSys_ThroughEntry",
     "BM_DateSys_AnchorClockGettime", "`clock_gettime` + `localtime_r` + `snprintf` + the VM's copy", 3, "cpu"),
    ("dates", "`DateSys()` (`SystemDate`)", "SystemDate", "SystemDate_AnchorClockGettime",
     "`clock_gettime` + `localtime_r` + `snprintf`", 3, "cpu"),
    ("dates", "`HeureSys()` = `Maintenant()` (`SystemTime`)", "SystemTime", "SystemTime_AnchorClockGettime",
     "`clock_gettime` + `localtime_r` + `snprintf`", 3, "cpu"),
    ("dates", "`DateVersEntier`", "DateToInteger", "DateToInteger_AnchorChrono", "digit parse + `std::chrono`",
     1.5, "cpu"),
    ("dates", "`EntierVersDate`", "IntegerToDate", "IntegerToDate_AnchorChronoSnprintf",
     "`std::chrono` + `snprintf`", None, "cpu"),
    ("dates", "`DateVersChaîne` \"JJ/MM/AAAA\"", "DateToStringMask", "DateToStringMask_AnchorSnprintf",
     "digit parse + `snprintf`", None, "cpu"),
    ("dates", "`DateHeureUTCVersLocale` (CET rule)", "UTCToLocal", "UTCToLocal_AnchorLocaltime",
     "`localtime_r` + `snprintf`", None, "cpu"),
    ("checksums", "`sCalculeCrc32`, 1 MiB", "BM_Crc32/1048576", "BM_Crc32_Zlib/1048576", "zlib `crc32`", 1,
     "cpu"),
    ("registry", "`RegistreLit`", "Registry_QueryValue", "Registry_RawSqliteRead", "raw prepared SQLite read", 2,
     "cpu"),
    ("registry", "`RegistreEcrit`", "Registry_SetValue", "Registry_RawSqliteWrite", "raw prepared SQLite write",
     None, "cpu"),
    ("registry", "`RegistreListeValeur`, 10,000 values", "Registry_ListValues10k", "Registry_RawSqliteList10k",
     "one SQLite `SELECT` of the names", 2, "cpu"),
    ("INI", "`INILit`, last key of 500 lines", "Ini_ReadLastKey", "Ini_RawRead", "`open` + `read()` of the file",
     2, "cpu"),
    ("files", "`fLitLigne`, 40,000 lines", "BM_ReadLine_fLitLigne", "BM_ReadLine_getline_anchor", "`getline`",
     1.5, "cpu"),
    ("files", "`fRepTaille`, 2,000 files", "BM_DirSize_fRepTaille", "BM_DirWalk_nftw_anchor", "`nftw`", 1.1,
     "cpu"),
    ("files", "`fListeFichier`, same tree", "BM_ListFile_fListeFichier", "BM_DirWalk_nftw_anchor", "`nftw`", 1.1,
     "cpu"),
    ("processes", "`ExeListeProcessus()`", "Process_ListProcesses", "Process_RawProcReaddirReadlink",
     "`/proc` readdir + readlink", 1.5, "cpu"),
    ("processes", "`ExeLancé(name)`", "Process_CountRunningByName", "Process_RawProcReaddirReadlink",
     "`/proc` readdir + readlink", 1.5, "cpu"),
    ("shared memory", "4 KiB `fEcrit` + `fLit` on a block", "BM_SharedMemory_fEcrit_fLit_4KiB",
     "BM_Anchor_memcpy_mmap_mutex_4KiB", "`memcpy` into a raw `mmap` under a mutex", 3, "cpu"),
    ("shared memory", "notification round trip between processes", "BM_SharedMemory_NotificationRoundTrip/real_time",
     "BM_Anchor_PosixSemaphorePingPong/real_time", "bare POSIX semaphore ping-pong", 3, "real"),
    ("update", "`AppliMAJDisponible` against a loopback server", "BM_UpdateAvailable", "BM_AnchorCurlGet",
     "bare libcurl GET", 1.2, "both"),
    ("desktop", "parsing a 10,000-character key string", "KeyString_Parse", "KeyString_PlainScan",
     "a plain scan", 20, "cpu"),
    ("desktop", "playing 200 records under Xvfb", "Desktop_PlayRecords", "Desktop_XTestDirect", "XTest directly",
     2, "both"),
    ("encoding", "`Compresse`, 1 MiB", "BM_Compress", "BM_Compress2_Zlib", "zlib `compress2`", 1.1, "cpu"),
    ("encoding", "`Crypte`, 1 MiB, key given", "BM_CrypteSealWithKey", "BM_AesGcm_Gcrypt", "libgcrypt AES-GCM",
     1.2, "cpu"),
] + [
    ("numbers", f"`NumériqueVersChaîne` with mask {i}", f"BM_NumToString/{i}", f"BM_Snprintf/{i}",
     "`snprintf` of the same format", 2, "cpu") for i in range(5)
] + [
    ("numbers", "`NumériqueVersChaîne` shortest", "BM_NumToString_Shortest", "BM_Snprintf_Shortest",
     "`snprintf` \"%.17g\"", 2, "cpu"),
    ("numbers", "`TailleVersChaîne`", "BM_LengthToString", "BM_Snprintf_Size", "`snprintf` \"%.1f KB\"", 2, "cpu"),
    ("euro", "`eChangeDevise` DEM to FRF", "BM_EuroChangeCurrency", "BM_EuroPlainIntegerAnchor",
     "the same conversion in plain integer arithmetic", 3, "cpu"),
    ("archive", "add 100 MB (`_zipCrée_old` + `_zipAjouteRépertoire_old`)", "BM_Add100MB_zipAjouteRepertoire",
     "BM_Add100MB_zip6_anchor", "`zip -q -6 -r`", 1.2, "real"),
    ("archive", "extract them all", "BM_Extract100MB_zipExtraitTout", "BM_Extract100MB_unzip_anchor",
     "`unzip -q -o`", 1.2, "real"),
]

# Shown alone, to follow from run to run.
ALONE = [
    ("`DateVersChaîne` with day and month names", "DateToStringMaskNames"),
    ("`RegistreCherche` through a key of 10,000 values", "Registry_Seek10kNoMatch"),
    ("`RegistreLit` of value 10,000 by index", "Registry_QueryValueAtLast10k"),
    ("`ExeListeProcessus` with parents", "Process_ListProcessesWithParents"),
    ("`INILit` once the file is read (the parse alone)", "Ini_ReadLastKeyInMemory"),
    ("the euro's exact core alone", "BM_EuroConvertCore"),
    ("the euro conversion in 64-bit arithmetic, rates read at run time", "BM_EuroPlain64BitsRuntimeRates"),
]


def load(path):
    with open(path) as f:
        runs = json.load(f)["benchmarks"]
    found = {}
    for r in runs:
        if r.get("run_type") == "aggregate" and r.get("aggregate_name") != "median":
            continue
        name = r.get("run_name", r["name"]).split("/iterations:")[0]
        found[name] = r
    return found


def seconds(run, kind):
    scale = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}[run.get("time_unit", "ns")]
    return run["cpu_time" if kind == "cpu" else "real_time"] * scale


def show(t):
    for unit, scale in (("s", 1.0), ("ms", 1e-3), ("µs", 1e-6), ("ns", 1e-9)):
        if t >= scale or unit == "ns":
            v = t / scale
            return f"{v:#.3g} {unit}" if v < 100 else f"{v:.0f} {unit}"


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    runs = load(sys.argv[1])
    missing = [n for row in ROWS for n in (row[2], row[3]) if n not in runs]
    if missing:
        sys.exit("not in the run: " + ", ".join(sorted(set(missing))))
    print("| family | benchmark | ours | anchor | ratio | goal |")
    print("|---|---|---|---|---|---|")
    for family, what, ours, anchor, anchor_text, goal, kind in ROWS:
        kinds = ["cpu", "real"] if kind == "both" else [kind]
        labels = {"cpu": "CPU", "real": "wall"}
        ratios = {k: seconds(runs[ours], k) / seconds(runs[anchor], k) for k in kinds}

        def cell(name):
            return ", ".join(f"{show(seconds(runs[name], k))}" + (f" {labels[k]}" if len(kinds) > 1 else "")
                             for k in kinds)
        ratio = ", ".join(f"{ratios[k]:.2f}x" + (f" {labels[k]}" if len(kinds) > 1 or k == "real" else "")
                          for k in kinds)
        if goal is None:
            verdict = "—"
        else:
            met = ratios["real" if "real" in ratios else "cpu"] <= goal
            verdict = f"≤ {goal}x: " + ("met" if met else "**not met**")
        print(f"| {family} | {what} | {cell(ours)} | {anchor_text} {cell(anchor)} | {ratio} | {verdict} |")
    print()
    print("Without an anchor of their own (CPU time, to follow from run to run):")
    print()
    for what, name in ALONE:
        if name in runs:
            print(f"- {what}: {show(seconds(runs[name], 'cpu'))}")


if __name__ == "__main__":
    main()
