print(rv.get("Device.DeviceInfo.SoftwareVersion"))
