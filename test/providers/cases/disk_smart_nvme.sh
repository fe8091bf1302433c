# shellcheck shell=sh
# An ATA disk that is about to fail and an NVMe disk. The stand-ins print what
# `smartctl -j` 7.3 and `nvme smart-log -o json` 2.3 print, shortened; the frame
# of the first is that of a real run on a disk that it did not know. Made up.

smart_ata='{
  "json_format_version": [
    1,
    0
  ],
  "smartctl": {
    "version": [
      7,
      3
    ],
    "exit_status": 24
  },
  "model_family": "Example \"Exos\"",
  "model_name": "ST1000NX0423",
  "serial_number": "SERIAL123",
  "wwn": {
    "naa": 5,
    "oui": 3152,
    "id": 2823460231
  },
  "firmware_version": "NE07",
  "user_capacity": {
    "blocks": 1953525168,
    "bytes": 1000204886016
  },
  "smart_status": {
    "passed": false
  },
  "ata_smart_attributes": {
    "revision": 10,
    "table": [
      {
        "id": 5,
        "name": "Reallocated_Sector_Ct",
        "value": 9,
        "worst": 9,
        "thresh": 10,
        "when_failed": "now",
        "raw": {
          "value": 4711,
          "string": "4711"
        }
      },
      {
        "id": 9,
        "name": "Power_On_Hours",
        "value": 50,
        "when_failed": "",
        "raw": {
          "value": 43800,
          "string": "43800"
        }
      },
      {"id": 187, "name": "Reported_Uncorrect", "when_failed": "", "raw": {"value": 3, "string": "3"}},
      {"id": 197, "name": "Current_Pending_Sector", "when_failed": "", "raw": {"value": 33, "string": "33"}},
      {"id": 198, "name": "Offline_Uncorrectable", "when_failed": "", "raw": {"value": 12, "string": "12"}},
      {"id": 199, "name": "UDMA_CRC_Error_Count", "when_failed": "past", "raw": {"value": 17179869192, "string": "8 (0 4)"}}
    ]
  },
  "power_on_time": {
    "hours": 43800
  },
  "temperature": {
    "current": 31
  }
}'
smart_sas='{"smartctl":{"exit_status":0},"vendor":"EXAMPLE","product":"EXM1200","revision":"0005","serial_number":"SERIAL125","logical_unit_id":"SERIAL125","smart_status":{"passed":true},"scsi_grown_defect_list":3,"scsi_error_counter_log":{"read":{"total_uncorrected_errors":1}}}'
smart_nvme='{"smartctl":{"exit_status":0},"model_name":"EXAMPLE NVME 3.84TB","serial_number":"SERIAL124","firmware_version":"E2010650","nvme_namespaces":[{"id":1,"eui64":{"oui":10858,"ext_id":4711}}],"smart_status":{"passed":true},"nvme_smart_health_information_log":{"critical_warning":0,"temperature":38,"available_spare":100,"percentage_used":7,"media_errors":2,"num_err_log_entries":5},"temperature":{"current":38}}'

tree_disk_smart_nvme() {
  sda=$1/sys/block/sda
  put "$sda/device/vendor" 'ATA     \n'
  put "$sda/device/model" 'ST1000NX0423    \n'
  put "$sda/device/rev" 'NE07\n'
  put "$sda/device/state" 'running\n'
  put "$sda/device/ioerr_cnt" '0x2\n'
  put "$sda/size" '1953525168\n'
  put "$1/sys/class/nvme/nvme0/model" 'EXAMPLE NVME 3.84TB                     \n'
  put "$1/sys/class/nvme/nvme0/serial" 'SERIAL124\n'
  put "$1/sys/class/nvme/nvme0/firmware_rev" 'E2010650\n'
  put "$1/sys/class/nvme/nvme0/state" 'live\n'
  put "$1/sys/block/sdb/device/model" 'EXM1200         \n'
  mkdir -p "$1/sys/block/vda" "$1/sys/block/loop0"
  put "$1/proc/uptime" '1000.00 1.00\n'
  put_each '' "$1/dev/sda" "$1/dev/sdb" "$1/dev/nvme0"
  put_tool "$1-tools/smartctl" "case \$5 in
/dev/sda) cat <<'END'
$smart_ata
END
exit 24 ;;
/dev/sdb) cat <<'END'
$smart_sas
END
;;
/dev/nvme0) cat <<'END'
$smart_nvme
END
;; esac"
  put_tool "$1-nvme/nvme" 'cat <<"END"
{
  "critical_warning" : 4,
  "temperature" : 311,
  "avail_spare" : 3,
  "spare_thresh" : 10,
  "percent_used" : 98,
  "media_errors" : 17,
  "num_err_log_entries" : 20
}
END'
  put "$1-worn/sys/class/nvme/nvme1/model" 'EXAMPLE NVME 0.96TB\n'
  put "$1-worn/sys/class/nvme/nvme1/firmware_rev" '1.0\n'
  put "$1-worn/proc/uptime" '1000.00 1.00\n'
  put "$1-worn/dev/nvme1" ''
  mkdir -p "$1-virtual/sys/block/vda"
}

stable_disk_smart_nvme() { sed '/temperature/d; /power_on/d; /_cnt: /d; /data_units/d; /host_/d; /busy/d'; }

test_disk_smart_nvme() {
  usual=/usr/sbin:/usr/bin:/sbin:/bin
  ln -s "$trees/disk_smart_nvme-tools" "$scratch/smart"
  shell="env ZELK_PROVIDER_PATH=$scratch/smart:$usual"
  for line in "smart.sda.smart_status.passed: false" "smart.sda.firmware_version: NE07" \
    "smart.sda.attribute.5.name: Reallocated_Sector_Ct" "smart.sda.attribute.5.failed: now" \
    "smart.sda.attribute.5.raw: 4711" "smart.sda.attribute.9.failed: never" \
    "smart.sda.attribute.9.raw: 43800" "smart.sda.attribute.197.raw: 33" \
    "smart.sda.attribute.199.raw: 8" "smart.sda.attribute.199.failed: past" \
    "smart.kinds: 1 x ST1000NX0423, firmware NE07" \
    'smart.sda.model_family: Example \"Exos\"' \
    "smart.nvme0.nvme_smart_health_information_log.media_errors: 2" \
    "smart.nvme0.smart_status.passed: true" "smart.sdb.scsi_grown_defect_list: 3" \
    "smart.sdb.scsi_error_counter_log.read.total_uncorrected_errors: 1" \
    "/sys/class/nvme/nvme0/firmware_rev: E2010650" "/sys/block/sda/device/ioerr_cnt: 0x2"; do
    check "disk health: ${line%%: *}" gives 0 disk_smart_nvme "$line"
  done
  check "disk health: no serial number" lacks disk_smart_nvme SERIAL
  check "disk health: no world-wide name" lacks disk_smart_nvme 'wwn\|eui64\|2823460231'
  test_disk_without_smartctl
  test_disk_refuses
  test_disk_hung
  shell=
  tree=disk_smart_nvme-virtual
  check "disk health: a virtual disk" gives 80 disk_smart_nvme
}

# A folder of what a bare node has, so that no smartctl is found.
test_disk_without_smartctl() {
  bare=$scratch/smart-bare
  mkdir "$bare"
  for tool in xargs grep awk sort timeout env cat; do ln -s "$(command -v "$tool")" "$bare/$tool"; done
  shell="env ZELK_PROVIDER_PATH=$bare"
  check "disk health: no tool" gives 0 disk_smart_nvme "missing: smartctl"
  check "disk health: no tool for this disk either" gives 0 disk_smart_nvme "missing: nvme"
  check "disk health: without a tool nothing is known of a disk" gives 0 disk_smart_nvme \
    "unreadable: smart.sda.*: no smartctl"
  check "disk health: nor how many of a kind there are" gives 0 disk_smart_nvme \
    "unreadable: smart.kinds: no smartctl and no nvme"
  cp "$trees/disk_smart_nvme-nvme/nvme" "$bare"
  check "disk health: the other tool" gives 0 disk_smart_nvme "smart.nvme0.avail_spare: 3"
  shell="env ZELK_PROVIDER_PATH=$scratch/smart:$usual"
  can_be_nobody || return 0
  shell="$as_nobody $shell"
  chmod 000 "$trees/disk_smart_nvme/dev/sda"
  check "disk health: a disk for root only" gives 0 disk_smart_nvme \
    "unreadable: /dev/sda: Permission denied"
  check "disk health: so what it would tell is not known" gives 0 disk_smart_nvme \
    "unreadable: smart.sda.*: Permission denied"
  chmod 644 "$trees/disk_smart_nvme/dev/sda"
}

# Behind some controllers a disk does not answer; smartctl says so and ends with 2.
test_disk_refuses() {
  refused=$scratch/smart-refused
  mkdir "$refused"
  put_tool "$refused/smartctl" 'echo "{\"smartctl\":{\"messages\":[{\"string\":\"Unable to detect device type\",\"severity\":\"error\"}],\"exit_status\":1}}"; exit 1'
  shell="env ZELK_PROVIDER_PATH=$refused:$usual"
  check "disk health: a disk that does not answer" gives 0 disk_smart_nvme \
    "unreadable: smart.sdb.*: Unable to detect device type"
}

test_disk_hung() {
  hung=$scratch/smart-hung
  mkdir "$hung"
  # shellcheck disable=SC2016 # the text is a script
  put_tool "$hung/smartctl" 'case $5 in /dev/sda) sleep 30 ;; esac
echo "{\"smart_status\": {\"passed\": true}}"'
  shell="env ZELK_PROVIDER_PATH=$hung:$usual"
  check "disk health: a disk that hangs does not hide the others" gives 83 disk_smart_nvme \
    "smart.nvme0.smart_status.passed: true"
}
